// What runs when the process loads and unloads the library; nothing else does.
#include <vomo.h>

#include "primitives/cpu_level.h"

namespace {

__attribute__((constructor)) void AttachProcess() {
  vomo::SelectCpuLevel();
  Vomo_Handles_Initialize();
}

__attribute__((destructor)) void DetachProcess() {
  Vomo_Handle_Free_All();
}

}  // namespace
