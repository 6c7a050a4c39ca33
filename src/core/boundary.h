// The guard at the library's boundary: what an exported function runs, it runs inside it.
#ifndef VOMO_CORE_BOUNDARY_H
#define VOMO_CORE_BOUNDARY_H

#include <vomo.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace vomo {

// Runs the body of an exported function and turns an exception into its status word: memory that
// can't be had is the one that inner code relies on (owners throw std::bad_alloc), anything else
// would be a defect and must still not cross the C boundary.
template <class Body>
VomoStatus Guarded(Body &&body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc &) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  } catch (const std::length_error &) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  } catch (...) {
    return Vomo_STATUS_COMPUTATION_ERROR;
  }
}

}  // namespace vomo

#endif
