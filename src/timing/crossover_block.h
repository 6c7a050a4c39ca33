// The one block that holds a crossover record with its arrays behind it.
#ifndef VOMO_TIMING_CROSSOVER_BLOCK_H
#define VOMO_TIMING_CROSSOVER_BLOCK_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// Whether a list can be read: times are needed wherever entries are.
inline bool HasTimes(const VomoCrossoverData *list) {
  return list != nullptr && (list->ulCount == 0 || list->pdTimes != nullptr);
}

// Allocates the record, count times, count flag bytes and, behind them on the next multiple of
// 8 bytes, two_part_count two-part elements. Nothing but the record's head is written: ulCount is
// count, psTwoPartArray NULL without such elements. An owner of nothing if the block can't be had.
Block TryMakeCrossoverBlock(uint64_t count, uint64_t two_part_count);

}  // namespace vomo

#endif
