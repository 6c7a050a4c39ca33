// Status numbers of the vector primitive layer and their texts.
#ifndef VOMO_PRIMITIVES_STATUS_TEXT_H
#define VOMO_PRIMITIVES_STATUS_TEXT_H

#include <cstdint>

namespace vomo {

// 0 is success, a negative number an error, a positive one a warning about some elements.
enum PrimitiveStatus : int32_t {
  kUnknownStatusCode = -216,
  kSizeMatchError = -204,
  kSingularError = -195,
  kStrideError = -182,
  kContextMatchError = -17,
  kFftFlagError = -16,
  kDivByZeroError = -10,
  kMemAllocError = -9,
  kNullPtrError = -8,
  kSizeError = -6,
  kBadArgError = -5,
  kNoError = 0,
  kSingularityWarning = 18,
  kDomainWarning = 19,
};

// Text of a status number; a number that no operation yields gives the text of -216. Constant.
const char *qvsStatusText(int32_t iPrimitiveStatus);

}  // namespace vomo

#endif
