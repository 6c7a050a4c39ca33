// Walks sample by sample in one direction until one passes a test.
#ifndef VOMO_LF_SAMPLE_WALK_H
#define VOMO_LF_SAMPLE_WALK_H

#include <algorithm>
#include <cstdint>

namespace vomo {

// kStep: 1 up, -1 down. The stretch in which the latest walks met nothing is remembered and jumped
// over, so that walks over the same samples cost one pass together.
template <int kStep>
class SampleWalk {
 public:
  // Index of the first sample that passes, from `from` on and before `stop` in the walking
  // direction; stop if there is none. The test takes an index and must be the same at each call.
  template <class Test>
  int64_t Find(int64_t from, int64_t stop, Test passes) {
    // Walked distances, which grow in either direction.
    const int64_t first = kStep * from, limit = kStep * stop;
    int64_t at = first;
    while (at < limit) {
      if (at >= clear_from_ && at < clear_to_) at = clear_to_;
      const int64_t end = at < clear_from_ ? std::min(limit, clear_from_) : limit;
      while (at < end && !passes(kStep * at)) ++at;
      if (at < end) break;
    }
    at = std::max(first, std::min(at, limit));
    Remember(first, at);
    return kStep * at;
  }

 private:
  void Remember(int64_t from, int64_t to) {
    const bool touches = from <= clear_to_ && to >= clear_from_;
    clear_from_ = touches ? std::min(from, clear_from_) : from;
    clear_to_ = touches ? std::max(to, clear_to_) : to;
  }

  int64_t clear_from_ = 0, clear_to_ = 0;
};

}  // namespace vomo

#endif
