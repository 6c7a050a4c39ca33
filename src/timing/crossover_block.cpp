#include "timing/crossover_block.h"

namespace vomo {

Block TryMakeCrossoverBlock(uint64_t count, uint64_t two_part_count) {
  const uint64_t times_at = sizeof(VomoCrossoverData);
  const uint64_t flags_at = times_at + count * sizeof(double);
  const uint64_t two_part_at = (flags_at + count + 7) / 8 * 8;
  const uint64_t end = two_part_count == 0
                           ? flags_at + count
                           : two_part_at + two_part_count * sizeof(VomoTwoPartCrossover);
  Block block = Block::TryAllocate(end, 1);
  if (!block) return block;

  auto *const bytes = static_cast<uint8_t *>(block.memory());
  *static_cast<VomoCrossoverData *>(block.memory()) = {
      static_cast<uint32_t>(count),
      reinterpret_cast<double *>(bytes + times_at),
      bytes + flags_at,
      two_part_count == 0 ? nullptr : reinterpret_cast<VomoTwoPartCrossover *>(bytes + two_part_at),
      static_cast<uint32_t>(two_part_count),
      nullptr};
  return block;
}

}  // namespace vomo
