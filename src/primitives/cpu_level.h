// The processor level that the kernels of the vector primitives run at.
#ifndef VOMO_PRIMITIVES_CPU_LEVEL_H
#define VOMO_PRIMITIVES_CPU_LEVEL_H

namespace vomo {

enum class CpuLevel { kBaseline, kAvx2, kAvx512 };

// Chooses the best level that processor and system report. Runs once, at load.
void SelectCpuLevel();

// The level in use.
CpuLevel ActiveCpuLevel();

// Forces a level, for tests; false, and no change, if this machine can't run it.
bool ForceCpuLevel(CpuLevel level);

}  // namespace vomo

#endif
