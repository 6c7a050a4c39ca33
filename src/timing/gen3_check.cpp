// Decodes bytes from run lengths alone: finds the long runs of an ordered set and reads on from
// there in blocks of 16 bytes and two sync-header bits.
#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"

namespace vomo {
namespace {

constexpr int32_t kLongRunUi = 64;
constexpr uint32_t kBlockBytes = 16;
constexpr uint32_t kFewestBlocks = 4;
constexpr int32_t kSyncHeaderBits = 2;
constexpr uint32_t kFirstValueAt = 23;
constexpr uint32_t kSecondValueAt = 24;

// Reads bits off the run lengths; the level inverts from run to run.
class RunReader {
 public:
  RunReader(const int16_t *run_lengths, uint32_t count)
      : run_lengths_(run_lengths), count_(count) {}

  // Places the reader on the first of two neighbouring long runs; false without such a pair.
  bool FindLongPair() {
    for (uint32_t k = 0; uint64_t{k} + 1 < count_; ++k) {
      if (Length(k) >= kLongRunUi && Length(k + 1) >= kLongRunUi) {
        run_ = std::min(Length(k), kLongRunUi);
        next_ = k + 1;
        level_ = 0xFF;
        return true;
      }
    }
    return false;
  }

  bool HasNext() const { return next_ < count_; }

  // The first bit received ends in the least significant place.
  uint8_t VomoGen3NextByte() {
    if (run_ >= 8) return WholeByteOfOneLevel();
    uint32_t bits = 0;
    int32_t got = 0;
    while (got < 8) {
      const int32_t take = std::min(run_, 8 - got);
      const uint32_t top_bits = (0xFF00u >> take) & 0xFFu;
      bits = bits >> take | (level_ & top_bits);
      got += take;
      run_ -= take;
      if (run_ == 0) {
        Invert();
        if (!HasNext()) return static_cast<uint8_t>(bits >> (8 - got));
        run_ = Length(next_++);
      }
    }
    return static_cast<uint8_t>(bits);
  }

  void SkipSyncHeader() {
    run_ -= kSyncHeaderBits;
    while (run_ <= 0 && HasNext()) {
      Invert();
      run_ += Length(next_++);
    }
  }

 private:
  // Behind the last run nothing is left to read.
  int32_t Length(uint32_t index) const {
    return index < count_ ? static_cast<uint16_t>(run_lengths_[index]) : 0;
  }

  void Invert() { level_ ^= 0xFFu; }

  uint8_t WholeByteOfOneLevel() {
    const auto byte = static_cast<uint8_t>(level_);
    run_ -= 8;
    if (run_ == 0) {
      Invert();
      run_ = Length(next_++);
    }
    return byte;
  }

  const int16_t *run_lengths_;
  uint32_t count_;
  int32_t run_ = 0;
  uint32_t next_ = 0;
  uint32_t level_ = 0xFF;
};

uint32_t DecodeBytes(RunReader &reader, uint8_t *bytes, uint32_t capacity) {
  uint32_t count = 0;
  while (reader.HasNext() && count < capacity) {
    bytes[count] = reader.VomoGen3NextByte();
    if (++count % kBlockBytes == 0) reader.SkipSyncHeader();
  }
  return count;
}

// A byte whose nibbles complement each other carries its value in the high one.
uint8_t Fold(uint8_t byte) {
  const int high = byte >> 4, low = byte & 0xF;
  return high + low == 15 ? static_cast<uint8_t>(high) : byte;
}

VomoStatus Check(const VomoCrossoverData *crossovers, double unit_interval_s,
                 VomoGen3CheckData &check) {
  Received<int16_t> run_lengths;
  const VomoStatus status = VomoFIND_RUN_LENGTHS(crossovers, unit_interval_s, run_lengths.pointer(),
                                                 run_lengths.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint32_t capacity = kBlockBytes * std::max<uint32_t>(check.ucBlockCount, kFewestBlocks);
  auto blocks = BlockOf<uint8_t>::Allocate(capacity);
  std::fill_n(blocks.get(), capacity, uint8_t{0});

  check.ucFirstValue = check.ucSecondValue = 0xFF;
  uint32_t decoded = 0;
  RunReader reader(run_lengths.get(), crossovers->ulCount - 1);
  if (reader.FindLongPair()) {
    decoded = DecodeBytes(reader, blocks.get(), capacity);
    check.ucFirstValue = Fold(blocks[kFirstValueAt]);
    check.ucSecondValue = Fold(blocks[kSecondValueAt]);
  }
  if (decoded < check.ucBlockCount * kBlockBytes) {
    check.ucBlockCount = static_cast<uint8_t>(decoded / kBlockBytes);
  }
  if (check.ucBlockCount != 0) blocks.Deliver(&check.pucBlocks, &check.hBlocks);
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_Gen3Check(const VomoCrossoverData *psCrossovers, double dUnitInterval,
                                     VomoGen3CheckData *psGen3Check) noexcept {
  if (psGen3Check == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return vomo::Guarded([&] { return vomo::Check(psCrossovers, dUnitInterval, *psGen3Check); });
}
