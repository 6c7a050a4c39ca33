// What the headers of an oscilloscope's files say: BIN, TRC, WFM.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "format_layout.h"
#include "inspection.h"

namespace app {

std::string FailedCheck::Text() const {
  return fmt::format("{} at byte {}: found {}, needed {}", check, byte, found, needed);
}

void Inspection::Tell(const std::string &name, Json value, const std::string &unit) {
  if (value.is_number_float() && !std::isfinite(value.get<double>())) {
    value = fmt::format("{}", value.get<double>());
  }
  facts.push_back({name, std::move(value), unit});
}

void Inspection::Fail(const std::string &check, uint64_t byte, const std::string &found,
                      const std::string &needed) {
  if (!failed) failed = FailedCheck{check, byte, found, needed};
}

size_t TrcPrefixBytes(const std::string &head) {
  if (head.size() < 2 || head[0] != '#' || head[1] < '0' || head[1] > '9') return 0;
  return 2 + static_cast<size_t>(head[1] - '0');
}

namespace {

constexpr char kLittleEndian[] = "little-endian", kBigEndian[] = "big-endian";

// The length in a header's first four bytes; 0 if no header of that length can be there.
uint64_t SizedHeader(const FileBytes &file, const std::string &name, uint64_t at,
                     Inspection *result) {
  const auto size = file.At<int32_t>(at);
  const uint64_t left = file.size() - std::min(at, file.size());
  if (left >= 4 && size >= 4 && static_cast<uint64_t>(size) <= left) {
    return static_cast<uint64_t>(size);
  }
  result->Fail(name + " length", at, left < 4 ? "the end of the file" : std::to_string(size),
               fmt::format("a length from 4 to the {} bytes left", left));
  return 0;
}

// Tells of one waveform and returns where the next one begins; nothing if that can't be known.
std::optional<uint64_t> InspectBinWaveform(const FileBytes &file, const std::string &which,
                                           uint64_t at, Inspection *result) {
  const uint64_t header_bytes = SizedHeader(file, which + "waveform header", at, result);
  if (header_bytes == 0) return std::nullopt;
  // Fields behind a shorter header count as 0.
  const bool has_points = header_bytes >= bin::kPoints + 4;
  const auto points = has_points ? file.At<int32_t>(at + bin::kPoints) : 0;
  const bool has_interval = header_bytes >= bin::kInterval + 8;
  result->Tell(which + "points", points);
  result->Tell(which + "sample interval", has_interval ? file.At<double>(at + bin::kInterval) : 0.0,
               "s");
  if (points < 0) {
    result->Fail(which + "number of points", at + bin::kPoints, std::to_string(points),
                 "0 or more");
    return std::nullopt;
  }
  const uint64_t data_at = at + header_bytes;
  Inspection headerless;
  const uint64_t data_bytes = SizedHeader(file, which + "data header", data_at,
                                          result->waveforms > 1 ? result : &headerless);
  if (data_bytes == 0) {
    result->notes.push_back(fmt::format(
        "there is no data header at byte {}: the {} samples read as zeros", data_at, points));
    return std::nullopt;
  }
  const auto type = file.At<int16_t>(data_at + bin::kBufferType);
  const auto bytes_per_point = file.At<int16_t>(data_at + bin::kBytesPerPoint);
  const auto buffer_bytes = file.At<uint32_t>(data_at + bin::kBufferBytes);
  result->Tell(which + "buffer type", type);
  result->Tell(which + "bytes per point", bytes_per_point);
  const uint64_t samples_at = data_at + data_bytes;
  const auto wanted = static_cast<uint64_t>(points);
  if (bytes_per_point != 4) {
    result->Fail(which + "bytes per point", data_at + bin::kBytesPerPoint,
                 std::to_string(bytes_per_point), "4: samples are floats");
  } else if (type < bin::kFirstSampleType || type > bin::kLastSampleType) {
    result->Fail(which + "buffer type", data_at + bin::kBufferType, std::to_string(type),
                 "1, 2 or 3: float samples, not counts or logic levels");
  } else if (buffer_bytes / 4 > wanted) {
    result->Fail(which + "buffer size", data_at + bin::kBufferBytes,
                 fmt::format("{} bytes for {} points", buffer_bytes, points),
                 fmt::format("no more than {} bytes", 4 * wanted));
  } else if (samples_at + 4 * wanted > file.size()) {
    result->Fail(which + "samples", file.size(), "the end of the file",
                 fmt::format("{} samples up to byte {}; --max-samples {} reads what there is",
                             points, samples_at + 4 * wanted,
                             (file.size() - std::min(samples_at, file.size())) / 4));
  }
  return samples_at + 4 * wanted;
}

}  // namespace

Inspection InspectBin(const FileBytes &file, const InspectionRequest &request) {
  Inspection result;
  if (file.Text(0, 2) != bin::kCookie || file.size() < bin::kFileHeaderBytes) {
    result.Fail("file header", 0, file.Shown(0, 2), "\"AG\" and ten bytes more");
    return result;
  }
  result.waveforms = file.At<int32_t>(bin::kWaveformCount);
  result.Tell("byte order", kLittleEndian);
  result.Tell("version", file.Text(2, 2));
  result.Tell("waveforms", result.waveforms);
  if (result.waveforms < request.waveforms && request.waveforms > 1) {
    result.Fail("number of waveforms", bin::kWaveformCount, std::to_string(result.waveforms),
                "2, the positive and the negative half");
  }
  std::optional<uint64_t> at = bin::kFileHeaderBytes;
  const bool several = result.waveforms > 1;
  for (int i = 1; i <= (several ? 2 : 1) && at; ++i) {
    at = InspectBinWaveform(file, several ? fmt::format("waveform {}: ", i) : "", *at, &result);
  }
  return result;
}

Inspection InspectTrc(const FileBytes &file, const InspectionRequest &) {
  Inspection result;
  const uint64_t at = TrcPrefixBytes(file.Text(0, 2));
  if (file.Text(at, 8) != trc::kDescriptorText) {
    result.Fail("descriptor", at, file.Shown(at, 8), "\"WAVEDESC\"");
    return result;
  }
  if (file.size() < trc::kHeaderBytes) {
    result.Fail("descriptor", file.size(), "the end of the file",
                fmt::format("{} bytes of header", trc::kHeaderBytes));
    return result;
  }
  const auto order = file.At<uint16_t>(at + trc::kByteOrder);
  const auto descriptor_bytes = file.At<uint32_t>(at + trc::kDescriptorLength);
  const auto text_bytes = file.At<uint32_t>(at + trc::kUserTextLength);
  const auto array_bytes = file.At<uint32_t>(at + trc::kArrayLength);
  const uint32_t width = file.At<uint8_t>(at + trc::kDataType) == 1 ? 2 : 1;
  const uint64_t start = at + descriptor_bytes + text_bytes;
  result.Tell("byte order", order == 1 ? kLittleEndian : kBigEndian);
  result.Tell("prefix", at, "bytes");
  result.Tell("descriptor", descriptor_bytes, "bytes");
  result.Tell("user text", text_bytes, "bytes");
  result.Tell("sample format", width == 2 ? "16-bit signed" : "8-bit signed");
  result.Tell("samples promised", array_bytes / width);
  result.Tell("samples at byte", start);
  result.Tell("sample interval", double{file.At<float>(at + trc::kInterval)}, "s");
  result.Tell("gain", double{file.At<float>(at + trc::kGain)}, "V");
  result.Tell("offset, subtracted", double{file.At<float>(at + trc::kOffset)}, "V");
  if (order != 1) {
    result.Fail("byte order", at + trc::kByteOrder, file.Shown(at + trc::kByteOrder, 2),
                "01 00: save the trace little-endian");
  }
  const auto below = fmt::format("a length below {}", trc::kLengthLimit);
  if (descriptor_bytes >= trc::kLengthLimit) {
    result.Fail("descriptor length", at + trc::kDescriptorLength, std::to_string(descriptor_bytes),
                below);
  }
  if (text_bytes >= trc::kLengthLimit) {
    result.Fail("user text length", at + trc::kUserTextLength, std::to_string(text_bytes), below);
  }
  const uint64_t present = (file.size() - std::min(start, file.size())) / width;
  if (array_bytes / width == 0) {
    result.Fail("array length", at + trc::kArrayLength, std::to_string(array_bytes),
                fmt::format("{} bytes or more", width));
  } else if (present == 0) {
    result.Fail("samples", file.size(), "the end of the file",
                fmt::format("samples from byte {} on", start));
  } else if (present < array_bytes / width) {
    result.notes.push_back(
        fmt::format("the file is cut short at byte {}: it holds {} of {} samples", file.size(),
                    present, array_bytes / width));
  } else if (start + array_bytes < file.size()) {
    result.Tell("behind the first array", file.size() - start - array_bytes, "bytes");
  }
  return result;
}

Inspection InspectWfm(const FileBytes &file, const InspectionRequest &) {
  Inspection result;
  const bool swapped = file.At<uint16_t>(wfm::kMark) == wfm::kSwappedMark;
  const std::endian order = swapped ? std::endian::big : std::endian::little;
  const std::string text = file.Text(wfm::kVersionText, 8);
  const char digit = text.size() == 8 ? text[7] : '\0';
  result.Tell("byte order", swapped ? kBigEndian : kLittleEndian);
  if (digit < '1' || digit > '3') {
    result.Fail("version digit", wfm::kVersionDigit, file.Shown(wfm::kVersionDigit, 1),
                "1, 2 or 3, the last of the eight characters from byte 2 on");
    return result;
  }
  const wfm::Layout &layout = wfm::kLayouts[digit - '1'];
  result.Tell("version", digit - '0');
  if (file.size() < layout.header_bytes) {
    result.Fail("header", file.size(), "the end of the file",
                fmt::format("{} bytes of header", layout.header_bytes));
    return result;
  }
  const auto format = file.At<uint32_t>(layout.format, order);
  const auto *known =
      std::find_if(std::begin(wfm::kSampleFormats), std::end(wfm::kSampleFormats),
                   [&](const wfm::SampleFormat &row) { return row.number == format; });
  const bool is_known = known != std::end(wfm::kSampleFormats);
  const int width = file.At<int8_t>(wfm::kBytesPerPoint);
  const auto data_start = file.At<uint32_t>(layout.data_start, order);
  const auto post_start = file.At<uint32_t>(layout.post_start, order);
  const uint64_t curve = file.At<uint32_t>(wfm::kCurve, order);
  result.Tell("sample format", is_known ? known->name : fmt::format("unknown ({})", format));
  result.Tell("bytes per point", width);
  result.Tell("samples at byte", curve + data_start);
  result.Tell("sample interval", file.At<double>(layout.interval, order), "s");
  result.Tell("scale", file.At<double>(layout.scale, order), "V");
  result.Tell("offset, added", file.At<double>(layout.offset, order), "V");
  if (width <= 0 || (is_known && width != known->bytes)) {
    result.Fail("bytes per point", wfm::kBytesPerPoint, std::to_string(width),
                is_known ? fmt::format("{} for {} samples", known->bytes, known->name) : "above 0");
  } else if (post_start < data_start) {
    result.Fail("end of the samples", layout.post_start, std::to_string(post_start),
                fmt::format("{} or more, where the samples start in the curve", data_start));
  } else if (!is_known) {
    result.notes.push_back(fmt::format(
        "data format {} at byte {} is not read: every sample comes out as the offset, or nearly",
        format, layout.format));
  } else if (curve + post_start > file.size()) {
    result.notes.push_back(fmt::format(
        "the file is cut short: it ends at byte {}, its samples at {}; missing bytes read as 0",
        file.size(), curve + post_start));
  }
  return result;
}

}  // namespace app
