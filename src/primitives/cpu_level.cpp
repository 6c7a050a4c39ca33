#include "primitives/cpu_level.h"

#include <initializer_list>

#include "primitives/kernels.h"

namespace vomo {
namespace {

struct Choice {
  CpuLevel level;
  const Kernels *kernels;
};

// Good before the selection too, should an operation run that early.
Choice g_choice = {CpuLevel::kBaseline, &kernels_baseline::kTable};

#if VOMO_X86_LEVELS
// The compiler's query covers the operating system's part: registers that it doesn't save count as
// missing. Each level asks for all that its compiler options allow.
bool RunsAvx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2");
}
bool RunsAvx512() {
  return RunsAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
}
#endif

// NULL for a level that this machine can't run.
const Kernels *KernelsFor(CpuLevel level) {
  if (level == CpuLevel::kBaseline) return &kernels_baseline::kTable;
#if VOMO_X86_LEVELS
  __builtin_cpu_init();
  if (level == CpuLevel::kAvx2 && RunsAvx2()) return &kernels_avx2::kTable;
  if (level == CpuLevel::kAvx512 && RunsAvx512()) return &kernels_avx512::kTable;
#endif
  return nullptr;
}

}  // namespace

bool ForceCpuLevel(CpuLevel level) {
  const Kernels *kernels = KernelsFor(level);
  if (kernels == nullptr) return false;
  g_choice = {level, kernels};
  return true;
}

void SelectCpuLevel() {
  for (CpuLevel level : {CpuLevel::kAvx512, CpuLevel::kAvx2, CpuLevel::kBaseline}) {
    if (ForceCpuLevel(level)) return;
  }
}

CpuLevel ActiveCpuLevel() {
  return g_choice.level;
}

const Kernels &ActiveKernels() {
  return *g_choice.kernels;
}

}  // namespace vomo
