// The error context behind the "%s" of the status messages.
#ifndef VOMO_CORE_STATUS_H
#define VOMO_CORE_STATUS_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Stores a file name or an explanation, cut at 255 characters; NULL counts as an empty text. Only
// the next call changes it: success never clears it, so that the message of a failure can be asked
// for long after.
void Vomo_Set_Error_Context(const char *pcText);

// Stores the text of a primitive's status number as error context and returns the given word.
VomoStatus PrimitiveFailure(int32_t iPrimitiveStatus, VomoStatus word);

// Success, or COMPUTATION_ERROR with the text of a primitive's status number.
inline VomoStatus Computed(int32_t iPrimitiveStatus) {
  return iPrimitiveStatus == 0 ? Vomo_STATUS_SUCCESS
                               : PrimitiveFailure(iPrimitiveStatus, Vomo_STATUS_COMPUTATION_ERROR);
}

}  // namespace vomo

#endif
