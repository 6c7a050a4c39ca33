// Writers of the binary capture formats, all little-endian.
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "capture_writer.h"
#include "failure.h"
#include "format_layout.h"

namespace app {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie");

// A header whose numbers are set at their offsets; all other bytes are 0.
class HeaderBytes {
 public:
  explicit HeaderBytes(size_t size) : bytes_(size, '\0') {}

  template <class T>
  HeaderBytes &Set(size_t offset, T value) {
    std::memcpy(&bytes_.at(offset + sizeof value - 1) - (sizeof value - 1), &value, sizeof value);
    return *this;
  }
  HeaderBytes &Text(size_t offset, std::string_view text) {
    bytes_.replace(offset, text.size(), text);
    return *this;
  }
  const std::string &bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

template <class T>
void WriteRaw(OutputFile &file, std::span<const T> values) {
  file.Write({reinterpret_cast<const char *>(values.data()), values.size_bytes()});
}

// volts = scale * stored + middle.
struct Scaling {
  double scale = 1, middle = 0;
};

// Spreads the range about its middle, as a float, over nearly all integers of a type: a few are
// left at each end, so that a scale narrowed to float still keeps every sample inside.
template <class Stored>
Scaling ScalingOf(const CaptureInfo &info) {
  if constexpr (std::is_floating_point_v<Stored>) return {};
  const auto middle = static_cast<float>((double{info.lowest} + double{info.highest}) / 2);
  const double reach = std::max(double{info.highest} - middle, middle - double{info.lowest});
  const double scale = reach / (std::numeric_limits<Stored>::max() - 2);
  return {scale > 0 ? scale : 1, middle};
}

template <class Stored>
class ScaledWriter : public CaptureWriter {
 public:
  ScaledWriter(OutputFile &file, Scaling scaling) : file_(file), scaling_(scaling) {}

  void Write(std::span<const float> samples) override {
    if constexpr (std::is_same_v<Stored, float>) {
      WriteRaw(file_, samples);
    } else {
      for (size_t done = 0; done < samples.size(); done += kBlock) {
        const auto block = samples.subspan(done, std::min(kBlock, samples.size() - done));
        stored_.resize(block.size());
        std::transform(block.begin(), block.end(), stored_.begin(), [this](float sample) {
          constexpr double kMost = std::numeric_limits<Stored>::max();
          const double steps = std::nearbyint((sample - scaling_.middle) / scaling_.scale);
          return static_cast<Stored>(std::clamp(steps, -kMost, kMost));
        });
        WriteRaw(file_, std::span<const Stored>(stored_));
      }
    }
  }

 private:
  static constexpr size_t kBlock = 1 << 16;
  OutputFile &file_;
  Scaling scaling_;
  std::vector<Stored> stored_;
};

class BinWriter : public CaptureWriter {
 public:
  BinWriter(const CaptureInfo &info, OutputFile &file) : info_(info), file_(file) {
    const uint64_t of_waveform =
        bin::kWaveformHeaderBytes + bin::kDataHeaderBytes + 4 * info.sample_count;
    const uint64_t size =
        bin::kFileHeaderBytes + static_cast<uint64_t>(info.waveforms) * of_waveform;
    file_.Write(HeaderBytes(bin::kFileHeaderBytes)
                    .Text(0, "AG10")
                    .Set(4, static_cast<uint32_t>(size))
                    .Set(bin::kWaveformCount, static_cast<int32_t>(info.waveforms))
                    .bytes());
    WriteHeaders();
  }

  void Write(std::span<const float> samples) override {
    while (!samples.empty()) {
      if (written_ == info_.sample_count) WriteHeaders();
      const auto part = samples.first(
          static_cast<size_t>(std::min<uint64_t>(samples.size(), info_.sample_count - written_)));
      WriteRaw(file_, part);
      written_ += part.size();
      samples = samples.subspan(part.size());
    }
  }

 private:
  // In front of each waveform.
  void WriteHeaders() {
    file_.Write(HeaderBytes(bin::kWaveformHeaderBytes)
                    .Set(0, static_cast<int32_t>(bin::kWaveformHeaderBytes))
                    .Set(bin::kType, int32_t{1})
                    .Set(bin::kPoints, static_cast<int32_t>(info_.sample_count))
                    .Set(bin::kInterval, info_.sample_interval_s)
                    .bytes());
    file_.Write(HeaderBytes(bin::kDataHeaderBytes)
                    .Set(0, static_cast<int32_t>(bin::kDataHeaderBytes))
                    .Set(bin::kBufferType, bin::kFirstSampleType)
                    .Set(bin::kBytesPerPoint, int16_t{4})
                    .Set(bin::kBufferBytes, static_cast<uint32_t>(4 * info_.sample_count))
                    .bytes());
    written_ = 0;
  }

  CaptureInfo info_;
  OutputFile &file_;
  uint64_t written_ = 0;
};

// One variable for each waveform, in blocks of as many samples as come at once.
class SpiceWriter : public CaptureWriter {
 public:
  SpiceWriter(const CaptureInfo &info, OutputFile &file) : file_(file) {
    constexpr size_t kTextBytes = spice::kSkipSwitch + spice::kSkipSwitchDigits;
    std::string text(kTextBytes, ' ');
    const std::string none(spice::kCountDigits, '0');
    text.replace(spice::kVariablesLow, none.size(), fmt::format("{:04}", info.waveforms));
    for (const size_t at : {spice::kProbes, spice::kLeadingFloats, spice::kVariablesHigh}) {
      text.replace(at, none.size(), none);
    }
    text[spice::kSkipSwitch] = '0';
    WriteBlock<char>(text + spice::kEndOfHeader);
  }

  void Write(std::span<const float> samples) override {
    constexpr size_t kMostInBlock = 1 << 20;
    for (size_t done = 0; done < samples.size(); done += kMostInBlock) {
      const auto block = samples.subspan(done, std::min(kMostInBlock, samples.size() - done));
      if (block.back() > spice::kEndOfData) {
        throw Failure(ExitCode::kWrongUsage, "spice takes a sample above 9e29 for the end of data",
                      "bin, which holds every float");
      }
      WriteBlock<float>(block);
    }
  }

  void Finish() override {
    const float end[] = {1e30f};
    WriteBlock<float>(end);
  }

 private:
  template <class T>
  void WriteBlock(std::span<const T> payload) {
    const auto bytes = static_cast<uint32_t>(payload.size_bytes());
    file_.Write(HeaderBytes(spice::kPrefixBytes)
                    .Set(0, spice::kOrderMark)
                    .Set(spice::kFloatCount, static_cast<uint32_t>(bytes / sizeof(float)))
                    .Set(8, spice::kOrderMark)
                    .Set(spice::kPayloadBytes, bytes)
                    .bytes());
    WriteRaw(file_, payload);
    WriteRaw(file_, std::span(&bytes, 1));
  }

  OutputFile &file_;
};

}  // namespace

std::unique_ptr<CaptureWriter> OpenBin(const CaptureInfo &info, OutputFile &file) {
  return std::make_unique<BinWriter>(info, file);
}

std::unique_ptr<CaptureWriter> OpenSpice(const CaptureInfo &info, OutputFile &file) {
  return std::make_unique<SpiceWriter>(info, file);
}

template <class Stored>
std::unique_ptr<CaptureWriter> OpenTrc(const CaptureInfo &info, OutputFile &file) {
  const Scaling wanted = ScalingOf<Stored>(info);
  const auto gain = static_cast<float>(wanted.scale);
  const auto offset = static_cast<float>(0 - wanted.middle);
  file.Write(HeaderBytes(trc::kHeaderBytes)
                 .Text(0, trc::kDescriptorText)
                 .Set(trc::kDataType, uint8_t{sizeof(Stored) == 2})
                 .Set(trc::kByteOrder, uint16_t{1})
                 .Set(trc::kDescriptorLength, static_cast<uint32_t>(trc::kHeaderBytes))
                 .Set(trc::kArrayLength, static_cast<uint32_t>(info.sample_count * sizeof(Stored)))
                 .Set(trc::kGain, gain)
                 .Set(trc::kOffset, offset)
                 .Set(trc::kInterval, static_cast<float>(info.sample_interval_s))
                 .bytes());
  // The samples are scaled by what the file really says.
  return std::make_unique<ScaledWriter<Stored>>(file, Scaling{gain, -double{offset}});
}

template <class Stored>
std::unique_ptr<CaptureWriter> OpenWfm(const CaptureInfo &info, OutputFile &file) {
  constexpr wfm::Layout kLayout = wfm::kLayouts[2];
  constexpr uint32_t kFormat = std::is_same_v<Stored, float> ? 4 : 0;
  const Scaling scaling = ScalingOf<Stored>(info);
  file.Write(HeaderBytes(kLayout.header_bytes)
                 .Set(wfm::kMark, wfm::kNativeMark)
                 .Text(wfm::kVersionText, ":WFM#003")
                 .Set(wfm::kBytesPerPoint, static_cast<int8_t>(sizeof(Stored)))
                 .Set(wfm::kCurve, static_cast<uint32_t>(kLayout.header_bytes))
                 .Set(kLayout.scale, scaling.scale)
                 .Set(kLayout.offset, scaling.middle)
                 .Set(kLayout.format, kFormat)
                 .Set(kLayout.interval, info.sample_interval_s)
                 .Set(kLayout.data_start, uint32_t{0})
                 .Set(kLayout.post_start, static_cast<uint32_t>(info.sample_count * sizeof(Stored)))
                 .bytes());
  return std::make_unique<ScaledWriter<Stored>>(file, scaling);
}

template std::unique_ptr<CaptureWriter> OpenTrc<int8_t>(const CaptureInfo &, OutputFile &);
template std::unique_ptr<CaptureWriter> OpenTrc<int16_t>(const CaptureInfo &, OutputFile &);
template std::unique_ptr<CaptureWriter> OpenWfm<int16_t>(const CaptureInfo &, OutputFile &);
template std::unique_ptr<CaptureWriter> OpenWfm<float>(const CaptureInfo &, OutputFile &);

}  // namespace app
