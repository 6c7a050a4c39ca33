#include "primitives/status_text.h"

namespace vomo {
namespace {

struct Row {
  int32_t status;
  const char *text;
};

constexpr Row kRows[] = {
    {kUnknownStatusCode, "qvsStsUnknownStatusCodeErr: Unknown Status Code"},
    {kSizeMatchError, "qvsStsSizeMatchMatrixErr: Unsuitable sizes of the source matrices"},
    {kSingularError, "qvsStsSingularErr: Matrix is singular"},
    {kStrideError,
     "qvsStsStrideMatrixErr: Stride value is not positive or not dividend to size of data type"},
    {kContextMatchError, "qvsStsContextMatchErr: Context parameter doesn't match the operation"},
    {kFftFlagError, "qvsStsFftFlagErr: Invalid value of the FFT flag parameter"},
    {kDivByZeroError, "qvsStsDivByZeroErr: An attempt to divide by zero"},
    {kMemAllocError, "qvsStsMemAllocErr: Not enough memory allocated for the operation"},
    {kNullPtrError, "qvsStsNullPtrErr: Null pointer error"},
    {kSizeError, "qvsStsSizeErr: Wrong value of data size"},
    {kBadArgError, "qvsStsBadArgErr: Function arg/param is bad"},
    {kNoError, "qvsStsNoErr: No error, it's OK"},
    {kSingularityWarning, "qvsStsSingularity: Singularity occurred in the operation"},
    {kDomainWarning, "qvsStsDomain: Argument is out of the function domain"},
};

}  // namespace

const char *qvsStatusText(int32_t iPrimitiveStatus) {
  for (const Row &row : kRows) {
    if (row.status == iPrimitiveStatus) return row.text;
  }
  return kRows[0].text;
}

}  // namespace vomo
