#include "capture_reader.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

#include "terminal.h"

namespace app {
namespace {

// A simulator's transient file begins with the word 4, in either byte order.
bool LooksLikeSpice(std::span<const unsigned char> head) {
  constexpr std::array<unsigned char, 4> little = {4, 0, 0, 0}, big = {0, 0, 0, 4};
  return head.size() >= 4 && (std::equal(little.begin(), little.end(), head.begin()) ||
                              std::equal(big.begin(), big.end(), head.begin()));
}

// Text has no control characters but line ends and tabs; bytes above 127 may stand in its comments.
bool LooksLikeText(std::span<const unsigned char> head) {
  return !head.empty() && std::all_of(head.begin(), head.end(), [](unsigned char c) {
    return c >= 32 || c == '\n' || c == '\r' || c == '\t' || c == '\f';
  });
}

VomoStatus ReadSpice(const CaptureRequest &request, VomoWaveform **waveform, VomoHandle *handle) {
  uint32_t count = request.max_samples;
  return Vomo_Read_Spice_File(request.path.c_str(), &*request.sample_interval_s, &count, waveform,
                              handle);
}

VomoStatus ReadText(const CaptureRequest &request, VomoWaveform **waveform, VomoHandle *handle) {
  uint32_t count = request.max_samples;
  return Vomo_Read_Text_File(request.path.c_str(), request.skip_lines, *request.sample_interval_s,
                             &count, waveform, handle);
}

constexpr CaptureReader kReaders[] = {
    {"spice", "binary transient output of a circuit simulator", false, LooksLikeSpice, ReadSpice},
    {"text", "one or two numbers on each line, the last one being volts", false, LooksLikeText,
     ReadText},
};

std::string KnownFormats() {
  std::string text;
  for (const CaptureReader &reader : kReaders) {
    text += fmt::format("{}{} ({})", text.empty() ? "" : ", ", reader.name, reader.description);
  }
  return text;
}

Failure FileFailure(const std::string &path, const std::string &reason,
                    const std::string &advice = {}) {
  return Failure(ExitCode::kUnreadable, fmt::format("cannot read {}: {}", path, reason), advice);
}

// The size of a regular file; none for a pipe or device, which can't be looked into beforehand.
std::optional<uint64_t> SizeOf(const std::string &path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    throw FileFailure(path, std::strerror(errno), "check the name and the folder");
  }
  if (S_ISDIR(status.st_mode)) throw FileFailure(path, "it is a folder");
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size == 0) throw FileFailure(path, "the file is empty");
  return static_cast<uint64_t>(status.st_size);
}

std::vector<unsigned char> HeadOf(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw FileFailure(path, std::strerror(errno));
  std::vector<unsigned char> head(4096);
  file.read(reinterpret_cast<char *>(head.data()), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(file.gcount()));
  return head;
}

const CaptureReader &ChooseReader(const CaptureRequest &request, bool regular) {
  if (request.format != "auto") {
    return *std::find_if(
        std::begin(kReaders), std::end(kReaders),
        [&](const CaptureReader &reader) { return request.format == reader.name; });
  }
  if (!regular) throw FileFailure(request.path, "it is no regular file", "name its --format");
  const std::vector<unsigned char> head = HeadOf(request.path);
  for (const CaptureReader &reader : kReaders) {
    if (reader.probe(head)) return reader;
  }
  throw FileFailure(request.path, "its content is of no known format",
                    "the formats are " + KnownFormats());
}

std::string ReadAdvice(VomoStatus status, const CaptureReader &reader) {
  switch (status) {
    case Vomo_STATUS_UNEXPECTED_EOF:
      return "the file holds no numbers, or --skip-lines passes over them all";
    case Vomo_STATUS_MEMORY_ALLOCATION_FAILED:
      return "--max-samples to read less of it";
    case Vomo_STATUS_PARAM_OUT_OF_RANGE:
      return "the header names no columns; check that the file was written to its end";
    default:
      return fmt::format("check that it is whole and of the format {} ({}); --format names another",
                         reader.name, reader.description);
  }
}

}  // namespace

std::span<const CaptureReader> CaptureReaders() {
  return kReaders;
}

Failure StatusFailure(ExitCode code, VomoStatus status, const std::string &step,
                      const std::string &path, const std::string &advice) {
  return Failure(
      code,
      fmt::format("{} {}: {} (status 0x{:X})", step, path, Vomo_Status_Message(status), status),
      advice);
}

Capture Capture::Read(const CaptureRequest &request) {
  Capture capture;
  capture.path_ = request.path;
  capture.bytes_ = SizeOf(request.path);
  capture.reader_ = &ChooseReader(request, capture.bytes_.has_value());
  if (!capture.reader_->has_interval && !request.sample_interval_s) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("{}: a {} capture tells no sample interval", request.path,
                              capture.reader_->name),
                  "--interval SECONDS, or --spui with the samples in a unit interval");
  }
  const ProgressLine progress("reading " + request.path, capture.bytes_.value_or(0));
  const VomoStatus status = capture.reader_->read(request, &capture.waveform_, &capture.handle_);
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kUnreadable, status, "reading", request.path,
                        ReadAdvice(status, *capture.reader_));
  }
  if (capture.waveform_->ulNumSamples == 0) {
    throw FileFailure(request.path, "it holds no samples");
  }
  return capture;
}

Capture::Capture(Capture &&other) noexcept
    : path_(std::move(other.path_)),
      bytes_(other.bytes_),
      reader_(other.reader_),
      waveform_(std::exchange(other.waveform_, nullptr)),
      handle_(std::exchange(other.handle_, 0u)) {}

Capture::~Capture() {
  Vomo_HANDLE_FREE(handle_);
}

}  // namespace app
