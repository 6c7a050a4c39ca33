#include "capture_reader.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <utility>

#include "format_layout.h"
#include "terminal.h"

namespace app {
namespace {

constexpr size_t kHeadBytes = 4096;  // what a file's format is told by

// No control characters but line ends and tabs; bytes above 127 may stand in comments.
bool IsText(std::string_view head) {
  return !head.empty() && std::all_of(head.begin(), head.end(), [](unsigned char c) {
    return c >= 32 || c == '\n' || c == '\r' || c == '\t' || c == '\f';
  });
}

// Begins with the word 4, in either byte order.
bool LooksLikeSpice(std::string_view head) {
  return head.starts_with(std::string_view("\4\0\0\0", 4)) ||
         head.starts_with(std::string_view("\0\0\0\4", 4));
}

bool LooksLikeTrc(std::string_view head) {
  const size_t prefix = TrcPrefixBytes(std::string(head.substr(0, 2)));
  return head.size() > prefix && head.substr(prefix).starts_with(trc::kDescriptorText);
}

bool LooksLikeBin(std::string_view head) {
  return head.starts_with(bin::kCookie) && !IsText(head);
}

// The mark's two bytes are alike. A file without mark still has the version text, whose colon some
// leave out.
bool LooksLikeWfm(std::string_view head) {
  if (head.starts_with("\x0F\x0F") || head.starts_with("\xF0\xF0")) return true;
  return !IsText(head) && head.substr(0, 10).find("WFM#") != std::string_view::npos;
}

// Text with an option line: a # and the unit of its frequencies.
bool LooksLikeTouchstone(std::string_view head) {
  if (!IsText(head)) return false;
  std::istringstream lines{std::string(head)};
  for (std::string line; std::getline(lines, line);) {
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::istringstream words(line);
    std::string mark, unit;
    if (words >> mark && mark == "#" && words >> unit &&
        (unit == "hz" || unit == "khz" || unit == "mhz" || unit == "ghz")) {
      return true;
    }
  }
  return false;
}

// Shows no more than so many samples; 0 for all.
void Shorten(VomoWaveform *waveform, uint32_t count) {
  if (count != 0) waveform->ulNumSamples = std::min(waveform->ulNumSamples, count);
}

VomoStatus ReadSpice(const CaptureRequest &request, ReadWaveform *result) {
  uint32_t count = request.max_samples;
  return Vomo_Read_Spice_File(request.path.c_str(), &*request.sample_interval_s, &count,
                              &result->waveform, &result->handle);
}

VomoStatus ReadTwoSpice(const CaptureRequest &request, ReadWaveform (&results)[2]) {
  uint32_t count = request.max_samples;
  return Vomo_Read_Combined_Spice_File(request.path.c_str(), &*request.sample_interval_s, &count,
                                       &results[0].waveform, &results[0].handle,
                                       &results[1].waveform, &results[1].handle);
}

VomoStatus ReadText(const CaptureRequest &request, ReadWaveform *result) {
  uint32_t count = request.max_samples;
  return Vomo_Read_Text_File(request.path.c_str(), request.skip_lines, *request.sample_interval_s,
                             &count, &result->waveform, &result->handle);
}

// A format whose files tell their interval.
template <auto function>
VomoStatus ReadScope(const CaptureRequest &request, ReadWaveform *result) {
  double interval_s = 0;
  uint32_t count = request.max_samples;
  const VomoStatus status =
      function(request.path.c_str(), &interval_s, &count, &result->waveform, &result->handle);
  // A file that is cut short is delivered with zeros up to the count that it promised.
  if (!Vomo_STATUS_IS_ERROR(status)) Shorten(result->waveform, count);
  return status;
}

VomoStatus ReadTwoBin(const CaptureRequest &request, ReadWaveform (&results)[2]) {
  double interval_s = 0;
  uint32_t count = 0;
  const VomoStatus status =
      Vomo_Read_Combined_BIN_File(request.path.c_str(), &interval_s, &count, &results[0].waveform,
                                  &results[0].handle, &results[1].waveform, &results[1].handle);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  for (ReadWaveform &result : results) Shorten(result.waveform, request.max_samples);
  return status;
}

constexpr CaptureReader kReaders[] = {
    {"spice", "binary transient output of a circuit simulator", "04 00 00 00 or 00 00 00 04", false,
     LooksLikeSpice, InspectSpice, ReadSpice, ReadTwoSpice},
    {"trc", "an oscilloscope's trace with a WAVEDESC descriptor",
     "\"WAVEDESC\", perhaps behind a # and digits", true, LooksLikeTrc, InspectTrc,
     ReadScope<Vomo_Read_TRC_File>, nullptr},
    {"bin", "an oscilloscope's waveforms behind the cookie AG", "\"AG\"", true, LooksLikeBin,
     InspectBin, ReadScope<Vomo_Read_BIN_File>, ReadTwoBin},
    {"wfm", "an oscilloscope's waveform of header version 1, 2 or 3",
     "0F 0F or F0 F0, then \":WFM#00\" and a digit", true, LooksLikeWfm, InspectWfm,
     ReadScope<Vomo_Read_WFM_File>, nullptr},
    {"touchstone", "S-parameters of a four-port", "text with a line \"# GHz S MA R 50\"", false,
     LooksLikeTouchstone, InspectTouchstone, nullptr, nullptr},
    {"text", "one or two numbers on each line, the last one being volts", "text", false, IsText,
     InspectText, ReadText, nullptr},
};

std::string KnownFormats() {
  std::string text;
  for (const CaptureReader &reader : kReaders) {
    text += fmt::format("{}{} (begins with {})", text.empty() ? "" : ", ", reader.name,
                        reader.signature);
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

const CaptureReader &ChooseReader(const CaptureRequest &request, const FileBytes *file) {
  if (request.format != "auto") {
    return *std::find_if(
        std::begin(kReaders), std::end(kReaders),
        [&](const CaptureReader &reader) { return request.format == reader.name; });
  }
  if (file == nullptr)
    throw FileFailure(request.path, "it is no regular file", "name its --format");
  const std::string head = file->Text(0, kHeadBytes);
  for (const CaptureReader &reader : kReaders) {
    if (reader.probe(head)) return reader;
  }
  throw FileFailure(request.path,
                    "its content is of no known format: it begins with " + file->Shown(0, 12),
                    "the name decides nothing; the formats are " + KnownFormats());
}

std::string ReadAdvice(VomoStatus status, const CaptureReader &reader) {
  switch (status) {
    case Vomo_STATUS_UNEXPECTED_EOF:
      return "the file holds no numbers, or --skip-lines passes over them all";
    case Vomo_STATUS_MEMORY_ALLOCATION_FAILED:
      return "--max-samples to read less of it";
    case Vomo_STATUS_PARAM_OUT_OF_RANGE:
      return "check that the file was written to its end; --combined needs two columns";
    case Vomo_STATUS_NOT_ENOUGH_WAVEFORMS:
      return "name the two files of the pair";
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
                      const std::string &path, const std::string &advice,
                      const std::string &detail) {
  return Failure(
      code,
      fmt::format("{} {}: {} (status 0x{:X}){}{}", step, path, Vomo_Status_Message(status), status,
                  detail.empty() ? "" : ": ", detail),
      advice);
}

CaptureFile CaptureFile::Open(const CaptureRequest &request, int waveforms) {
  CaptureFile file;
  file.path = request.path;
  file.bytes = SizeOf(request.path);
  std::optional<FileBytes> bytes;
  if (file.bytes) bytes.emplace(request.path);
  file.reader = &ChooseReader(request, bytes ? &*bytes : nullptr);
  if (bytes) {
    file.inspection =
        file.reader->inspect(*bytes, {request.path.c_str(), waveforms, request.skip_lines});
  }
  return file;
}

namespace {

// What the reader is asked for: the interval where the file has none.
CaptureRequest CompleteRequest(const CaptureFile &file, CaptureRequest request) {
  if (file.reader->has_interval || request.sample_interval_s) return request;
  if (request.interval_needed) {
    throw Failure(
        ExitCode::kWrongUsage,
        fmt::format("{}: a {} capture tells no sample interval", file.path, file.reader->name),
        "--interval SECONDS; to measure also --spui with the samples in a unit interval");
  }
  request.sample_interval_s = 1;
  return request;
}

// Calls a reading function, and explains what the library refuses.
template <class Read>
void ReadOrExplain(const CaptureFile &file, const CaptureRequest &request, Read read) {
  const ProgressLine progress("reading " + file.path, file.bytes.value_or(0));
  const VomoStatus status = read(CompleteRequest(file, request));
  if (!Vomo_STATUS_IS_ERROR(status)) return;
  const std::optional<FailedCheck> &failed = file.inspection.failed;
  throw StatusFailure(ExitCode::kUnreadable, status, "reading", file.path,
                      ReadAdvice(status, *file.reader), failed ? failed->Text() : "");
}

}  // namespace

Capture Capture::Read(const CaptureFile &file, const CaptureRequest &request) {
  if (file.reader->read == nullptr) {
    throw FileFailure(file.path,
                      fmt::format("a {} file holds no samples but {}", file.reader->name,
                                  file.reader->description),
                      "vomo info shows what is in it");
  }
  ReadWaveform result;
  ReadOrExplain(file, request, [&](const CaptureRequest &complete) {
    return file.reader->read(complete, &result);
  });
  Capture capture(file, result, 0);
  capture.RequireSamples();
  return capture;
}

Capture Capture::Read(const CaptureRequest &request) {
  return Read(CaptureFile::Open(request), request);
}

std::vector<Capture> Capture::ReadTwo(const CaptureFile &file, const CaptureRequest &request) {
  if (file.reader->read_two == nullptr) {
    throw FileFailure(file.path, fmt::format("a {} file holds no two waveforms", file.reader->name),
                      "name the two files of the pair");
  }
  ReadWaveform results[2];
  ReadOrExplain(file, request, [&](const CaptureRequest &complete) {
    return file.reader->read_two(complete, results);
  });
  std::vector<Capture> captures;
  for (int i = 0; i < 2; ++i) captures.push_back(Capture(file, results[i], i + 1));
  for (const Capture &capture : captures) capture.RequireSamples();
  return captures;
}

void Capture::RequireSamples() const {
  if (waveform()->ulNumSamples == 0) throw FileFailure(path_, "it holds no valid samples");
}

Capture::Capture(const CaptureFile &file, const ReadWaveform &read, int number)
    : path_(file.path),
      bytes_(file.bytes),
      reader_(file.reader),
      number_(number),
      notes_(file.inspection.notes),
      read_(read) {
  if (file.inspection.failed) notes_.push_back(file.inspection.failed->Text());
}

void PrintNotes(const std::string &path, const std::vector<std::string> &notes) {
  for (const std::string &note : notes) fmt::print(stderr, "vomo: note: {}: {}\n", path, note);
}

void PrintWarnings(const std::string &path, const std::vector<std::string> &warnings) {
  for (const std::string &warning : warnings) {
    fmt::print(stderr, "vomo: warning: {}: {}\n", path, warning);
  }
}

Capture::Capture(Capture &&other) noexcept
    : path_(std::move(other.path_)),
      bytes_(other.bytes_),
      reader_(other.reader_),
      number_(other.number_),
      notes_(std::move(other.notes_)),
      read_(std::exchange(other.read_, {})) {}

Capture::~Capture() {
  Vomo_HANDLE_FREE(read_.handle);
}

}  // namespace app
