// BIN, TRC and WFM files in memory. What a file says about itself can be set apart from what it is.
#ifndef VOMO_TESTS_FILES_CAPTURE_MAKERS_H
#define VOMO_TESTS_FILES_CAPTURE_MAKERS_H

#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/byte_builder.h"

namespace vomo_test {

// Numbers as a file holds them.
template <class T>
std::string Raw(const std::vector<T> &numbers, std::endian order = std::endian::little) {
  ByteBuilder bytes(order);
  for (const T number : numbers) bytes.Put(number);
  return bytes.bytes();
}

struct BinWaveform {
  std::vector<float> samples;
  double interval_s = 1e-11;
  int32_t header_bytes = 140;
  int32_t type = 1;
  std::optional<int32_t> points = {};
  int32_t data_header_bytes = 12;
  int16_t buffer_type = 1;
  int16_t bytes_per_point = 4;
  std::optional<uint32_t> buffer_bytes = {};
};

// Header fields that a header's length has no room for are left out.
inline std::string MakeBin(const std::vector<BinWaveform> &waveforms,
                           std::optional<int32_t> count = {}) {
  ByteBuilder file;
  file.Text("AG10").Put<uint32_t>(0).Put(count.value_or(static_cast<int32_t>(waveforms.size())));
  for (const BinWaveform &w : waveforms) {
    const auto points = static_cast<int32_t>(w.samples.size());
    ByteBuilder header;
    header.Put(w.header_bytes).Put(w.type).Put<int32_t>(0).Put(w.points.value_or(points));
    header.Zeros(16).Put(w.interval_s);
    std::string text = header.bytes();
    text.resize(static_cast<size_t>(w.header_bytes), '\x5A');
    ByteBuilder data;
    data.Put(w.data_header_bytes).Put(w.buffer_type).Put(w.bytes_per_point);
    data.Put(w.buffer_bytes.value_or(static_cast<uint32_t>(4 * points)));
    std::string data_text = data.bytes();
    data_text.resize(static_cast<size_t>(w.data_header_bytes), '\x5A');
    file.Text(text).Text(data_text).Text(Raw(w.samples));
  }
  return file.bytes();
}

struct TrcFile {
  std::string samples;  // their bytes
  uint16_t data_type = 1;
  std::string prefix = {};
  std::string user_text = {};
  std::string tail = {};  // behind the samples
  float gain = 1, offset = 0, interval_s = 1e-11f;
  uint16_t byte_order = 1;
  uint32_t descriptor_bytes = 346;
  std::optional<uint32_t> user_text_bytes = {}, array_bytes = {};
};

inline std::string MakeTrc(const TrcFile &trc) {
  ByteBuilder file;
  file.Text(std::string(346, '\x5A')).TextAt(0, "WAVEDESC");
  file.PutAt(32, trc.data_type).PutAt(34, trc.byte_order).PutAt(36, trc.descriptor_bytes);
  file.PutAt(40, trc.user_text_bytes.value_or(static_cast<uint32_t>(trc.user_text.size())));
  file.PutAt(60, trc.array_bytes.value_or(static_cast<uint32_t>(trc.samples.size())));
  file.PutAt(156, trc.gain).PutAt(160, trc.offset).PutAt(176, trc.interval_s);
  std::string descriptor = file.bytes();
  if (trc.descriptor_bytes > 180 && trc.descriptor_bytes < 70000) {
    descriptor.resize(trc.descriptor_bytes, '\x5A');
  }
  return trc.prefix + descriptor + trc.user_text + trc.samples + trc.tail;
}

struct WfmFile {
  std::string samples;  // their bytes, in the file's order
  uint32_t format = 0;
  int8_t bytes_per_point = 2;
  int version = 1;
  std::endian order = std::endian::little;
  double scale = 1, offset = 0, interval_s = 1e-11;
  std::string before = {}, behind = {};  // parts of the curve outside the data
  std::optional<uint32_t> curve_start = {}, data_start = {}, post_start = {};
  std::optional<std::string> version_text = {};
};

// Headers of the three versions: length, and where the fields stand.
struct WfmFields {
  size_t length, scale, offset, format, interval, data_start, post_start;
};
inline constexpr WfmFields kWfmFields[] = {{820, 166, 174, 238, 478, 804, 808},
                                           {822, 168, 176, 240, 480, 806, 810},
                                           {838, 168, 176, 240, 488, 822, 826}};

inline std::string MakeWfm(const WfmFile &wfm) {
  const WfmFields &at = kWfmFields[wfm.version - 1];
  const auto before = static_cast<uint32_t>(wfm.before.size());
  const uint32_t data_start = wfm.data_start.value_or(before);
  const auto bytes = static_cast<uint32_t>(wfm.samples.size());
  ByteBuilder file(wfm.order);
  // A gap between header and curve, so that the curve's offset counts.
  file.Text(std::string(at.length + 5, '\x5A'));
  file.TextAt(0, wfm.order == std::endian::little ? "\x0F\x0F" : "\xF0\xF0");
  file.TextAt(2, wfm.version_text.value_or(":WFM#00" + std::to_string(wfm.version)));
  file.PutAt(15, wfm.bytes_per_point);
  file.PutAt(16, wfm.curve_start.value_or(static_cast<uint32_t>(at.length + 5)));
  file.PutAt(at.scale, wfm.scale).PutAt(at.offset, wfm.offset).PutAt(at.format, wfm.format);
  file.PutAt(at.interval, wfm.interval_s).PutAt(at.data_start, data_start);
  file.PutAt(at.post_start, wfm.post_start.value_or(data_start + bytes));
  return file.bytes() + wfm.before + wfm.samples + wfm.behind;
}

}  // namespace vomo_test

#endif
