#include "backends/embedding/KernelLoops.h"

namespace nookery::encoder {

const Kernels baselineKernels = {round, product, normalise, attend};

const Kernels& machineKernels() {
    return __builtin_cpu_supports("avx2") ? avx2Kernels : baselineKernels;
}

}  // namespace nookery::encoder
