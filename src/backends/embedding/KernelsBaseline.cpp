#include "backends/embedding/KernelLoops.h"

namespace nookery::encoder {

const Kernels baselineKernels = {round, product, normalise, attend};

const Kernels& machineKernels() {
    const bool hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return hasAvx2 ? avx2Kernels : baselineKernels;
}

}  // namespace nookery::encoder
