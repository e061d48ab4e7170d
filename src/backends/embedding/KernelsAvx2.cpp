#include "backends/embedding/KernelLoops.h"

namespace nookery::encoder {

const Kernels avx2Kernels = {round, product, normalise, attend};

}  // namespace nookery::encoder
