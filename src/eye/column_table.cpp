#include "eye/column_table.h"

#include <algorithm>
#include <new>

#include "core/numeric.h"

namespace vomo {
namespace {

constexpr double kColumnWidthUI = 0.004;
constexpr uint64_t kArrays = 6;
constexpr double kOpenVolts = 1000.0;
constexpr uint32_t kNoInterval = 0xFFFFFFFFu;

ColumnTable g_columns{};

}  // namespace

ColumnTable &MarginColumns() {
  return g_columns;
}

void ColumnTable::Size(const VomoPassFailInfo &info) {
  const double width_ui = info.dEyeXMax - info.dEyeXMin;
  const uint32_t count = std::max(VomoToU32(width_ui / kColumnWidthUI + 1.5), 1u);
  if (count > ulColumnCapacity) {
    // As large as a block may be; a template that asks for more is no template.
    constexpr uint64_t kMostBytes = std::numeric_limits<int32_t>::max();
    constexpr uint64_t kColumnBytes = kArrays * (sizeof(double) + sizeof(uint32_t));
    if (count > kMostBytes / kColumnBytes) throw std::bad_alloc();
    Scratch<double> more_volts(kArrays * count);
    Scratch<uint32_t> more_intervals(kArrays * count);
    volts = std::move(more_volts);
    intervals = std::move(more_intervals);
    ulColumnCapacity = count;
  }
  ulColumnCount = count;
}

EyeColumns ColumnTable::Of(BitClass bits) {
  const auto side = [this](uint64_t array) {
    const uint64_t first = array * ulColumnCapacity;
    return EyeSide{volts.get() + first, intervals.get() + first};
  };
  const auto high = static_cast<uint64_t>(bits) * 2;
  return {side(high), side(high + 1)};
}

EyeColumns ColumnTable::Clear(BitClass bits) {
  const EyeColumns columns = Of(bits);
  std::fill_n(columns.high.volts, ulColumnCount, kOpenVolts);
  std::fill_n(columns.low.volts, ulColumnCount, -kOpenVolts);
  std::fill_n(columns.high.intervals, ulColumnCount, kNoInterval);
  std::fill_n(columns.low.intervals, ulColumnCount, kNoInterval);
  aiBestColumn[bits] = -1;
  return columns;
}

}  // namespace vomo
