// Binary transient files of a Spice simulator.
//
// Such a file is a sequence of blocks: four 32-bit words, a payload and a further word that repeats
// the payload's length. The header is one or several blocks of text, of which the last ends with a
// marker and holds the counts; the blocks behind it are data, up to the end of the file or to a
// block that ends with a huge number. The data are read as columns that follow one another, of
// which the first two can be delivered.
//
// Supported: both byte orders, told by the first word of a header block; blocks of any length;
// files that are cut anywhere behind the header. Refused: header blocks without the mark, or longer
// than a line may be; files that can't be positioned (pipes); files without data. The interval is
// the caller's.
#include "files/spice_reader.h"

#include <algorithm>
#include <cstring>

#include "core/boundary.h"
#include "files/float_buffer.h"

namespace vomo {
namespace {

constexpr uint64_t kPrefixBytes = 16;
constexpr size_t kMarkOffset = 0;         // header block: the byte order mark
constexpr size_t kFloatCountOffset = 4;   // data block: floats in the payload
constexpr size_t kTextLengthOffset = 12;  // header block: bytes in the payload
constexpr uint64_t kTrailerBytes = 4;
constexpr uint32_t kOrderMark = 4;

constexpr size_t kLongestHeader = 8195;
constexpr char kEndOfHeader[] = "$&%#    ";
constexpr size_t kEndOfHeaderBytes = sizeof kEndOfHeader - 1;

// Fields of the header's text: decimal digits.
constexpr size_t kVariableCountHigh = 12, kVariableCountLow = 0, kProbeCount = 4, kLeadingCount = 8;
constexpr size_t kCountDigits = 4;
constexpr size_t kSkipSwitch = 184, kSkipSwitchDigits = 80;

// A block whose last float is above this ends the data.
constexpr float kEndOfData = 9e29f;

constexpr uint64_t kFirstCapacity = 500'000;  // floats
constexpr uint64_t kFirstGrowth = 100'000;

// What is kept from file to file, so that a series of captures needs no new memory for each: the
// buffer as the last file left it, and the growth, as large as the largest block ever met.
struct SpiceState {
  FloatBuffer buffer;
  uint64_t growth = kFirstGrowth;
};

SpiceState g_spice;

// Gives the buffer back unless the read came to its end.
class BufferUse {
 public:
  BufferUse() = default;
  BufferUse(const BufferUse &) = delete;
  BufferUse &operator=(const BufferUse &) = delete;
  ~BufferUse() {
    if (!kept_) g_spice.buffer.Free();
  }
  void Keep() { kept_ = true; }

 private:
  bool kept_ = false;
};

struct SpiceHeader {
  ByteOrder order = ByteOrder::kLittle;
  uint64_t columns = 0;
  uint64_t leading_floats = 0;  // to be dropped from the front of the data
};

// Where the columns lie in the buffer.
struct SpiceColumns {
  uint64_t first = 0;   // index of the first column's first float
  uint64_t length = 0;  // floats in a column
  uint64_t wanted = 0;  // delivered of each
};

// Digits up to the first other character; 0 if there is none, and no more than 32 signed bits say.
uint64_t DecimalField(const char *text, size_t digits) {
  constexpr uint64_t kMost = std::numeric_limits<int32_t>::max();
  uint64_t value = 0;
  for (size_t i = 0; i < digits && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = std::min(kMost, value * 10 + static_cast<uint64_t>(text[i] - '0'));
  }
  return value;
}

SpiceHeader HeaderFromText(const char *text, ByteOrder order) {
  char variables[2 * kCountDigits];
  std::memcpy(variables, text + kVariableCountHigh, kCountDigits);
  std::memcpy(variables + kCountDigits, text + kVariableCountLow, kCountDigits);
  SpiceHeader header;
  header.order = order;
  header.columns =
      DecimalField(variables, sizeof variables) + DecimalField(text + kProbeCount, kCountDigits);
  if (DecimalField(text + kSkipSwitch, kSkipSwitchDigits) != 0) {
    header.leading_floats = DecimalField(text + kLeadingCount, kCountDigits);
  }
  return header;
}

bool ReadPrefix(FileCursor *file, uint8_t (*prefix)[kPrefixBytes]) {
  return file->ReadExactly(prefix, kPrefixBytes);
}

// The byte order that makes a header block's mark; false if none does.
bool FindOrder(std::span<const uint8_t> prefix, ByteOrder *order) {
  for (const ByteOrder candidate : {ByteOrder::kLittle, ByteOrder::kBig}) {
    *order = candidate;
    if (FieldView(prefix, candidate).At<uint32_t>(kMarkOffset) == kOrderMark) return true;
  }
  return false;
}

// The payload is one line of text: a newline ends it, and the file goes on behind the newline.
void ReadHeaderLine(FileCursor *file, uint64_t length, char *text) {
  const uint64_t start = file->position();
  const uint64_t read = file->Read(text, length);
  const auto *newline = static_cast<char *>(std::memchr(text, '\n', read));
  if (newline == nullptr) return;
  const uint64_t line = static_cast<uint64_t>(newline - text) + 1;
  std::memset(text + line, 0, read - line);
  file->Seek(start + line);
}

bool ReadHeader(FileCursor *file, SpiceHeader *header) {
  for (;;) {
    uint8_t prefix[kPrefixBytes];
    ByteOrder order;
    if (!ReadPrefix(file, &prefix) || !FindOrder(prefix, &order)) return false;
    const auto length = FieldView(prefix, order).At<uint32_t>(kTextLengthOffset);
    if (length > kLongestHeader) return false;
    char text[kLongestHeader + 1] = {};
    ReadHeaderLine(file, length, text);
    file->Skip(kTrailerBytes);
    if (length >= kEndOfHeaderBytes &&
        std::memcmp(text + length - kEndOfHeaderBytes, kEndOfHeader, kEndOfHeaderBytes) == 0) {
      *header = HeaderFromText(text, order);
      return true;
    }
  }
}

bool MakeRoom(uint64_t stored, uint64_t floats) {
  if (stored + floats <= g_spice.buffer.capacity()) return true;
  g_spice.growth = std::max(g_spice.growth, floats);
  return g_spice.buffer.Resize(g_spice.buffer.capacity() + g_spice.growth);
}

float FloatAt(const float *place, ByteOrder order) {
  return LoadNumber<float>(reinterpret_cast<const uint8_t *>(place), !IsNative(order));
}

// Reads the payloads of all data blocks into the buffer, in the file's byte order. A block that
// claims more than the file holds is cut to what is there, before any room is made for it.
bool ReadData(FileCursor *file, ByteOrder order, uint64_t *stored) {
  uint8_t prefix[kPrefixBytes];
  while (ReadPrefix(file, &prefix)) {
    const uint64_t stated = FieldView(prefix, order).At<uint32_t>(kFloatCountOffset);
    const uint64_t floats = std::min(stated, file->remaining() / sizeof(float));
    if (!MakeRoom(*stored, floats)) return false;
    float *block = g_spice.buffer.data() + *stored;
    const uint64_t read = file->Read(block, floats * sizeof(float)) / sizeof(float);
    *stored += read;
    if (read != stated) break;
    if (read != 0 && FloatAt(block + read - 1, order) > kEndOfData) {
      --*stored;
      break;
    }
    file->Skip(kTrailerBytes);
  }
  return true;
}

SpiceColumns PlaceColumns(const SpiceHeader &header, uint64_t stored, uint64_t limit) {
  SpiceColumns columns;
  columns.first = std::min(header.leading_floats, stored);
  columns.length = (stored - columns.first) / header.columns;
  columns.wanted = std::min(columns.length, limit);
  return columns;
}

float *ColumnAt(const SpiceColumns &columns, int index) {
  return g_spice.buffer.data() + columns.first + static_cast<uint64_t>(index) * columns.length;
}

// Cuts the buffer to the columns that can be delivered. What was read is never cut away for them,
// and one float at least stays: a buffer of none would be no buffer.
bool CutBuffer(const SpiceColumns &columns, uint64_t stored) {
  const uint64_t kept = std::min(columns.first + 2 * columns.length, stored);
  return g_spice.buffer.Resize(std::max(kept, uint64_t{1}));
}

// Makes a record of each of a file's first columns.
VomoStatus ReadColumns(const ReadRequest &request, Capture *captures, int column_count) {
  BufferUse use;
  FileCursor file;
  const VomoStatus opened = OpenCapture(kSpiceFormat, request.file_name, &file);
  if (opened != Vomo_STATUS_SUCCESS) return opened;
  if (g_spice.buffer.capacity() == 0 && !g_spice.buffer.Resize(kFirstCapacity)) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  SpiceHeader header;
  if (!ReadHeader(&file, &header)) return Vomo_STATUS_FILE_READ_ERROR;
  if (header.columns < static_cast<uint64_t>(column_count)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  uint64_t stored = 0;
  if (!ReadData(&file, header.order, &stored)) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  if (stored == 0) return Vomo_STATUS_FILE_READ_ERROR;
  const SpiceColumns columns = PlaceColumns(header, stored, request.limit);
  if (!CutBuffer(columns, stored)) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  use.Keep();
  for (int i = 0; i < column_count; ++i) {
    MakeRecord(request, columns.wanted, request.caller_interval_s, ColumnAt(columns, i),
               &captures[i]);
    if (!IsNative(header.order)) {
      ReverseNumbers(captures[i].waveform->pfSamples, columns.wanted);
    }
  }
  return Vomo_STATUS_SUCCESS;
}

bool ProbeSpice(const FieldView &head) {
  const auto mark = head.At<uint32_t>(kMarkOffset);
  return mark == kOrderMark || mark == ReverseBytes(kOrderMark);
}

VomoStatus ReadSpice(const ReadRequest &request, Capture *capture) {
  return ReadColumns(request, capture, 1);
}

ReadRequest MakeRequest(const char *file_name, double interval_s, uint32_t *count) {
  ReadRequest request;
  request.file_name = file_name;
  request.limit = LimitFromCount(*count);
  request.caller_interval_s = interval_s;
  request.early_count = count;
  return request;
}

}  // namespace

const CaptureFormat kSpiceFormat = {ProbeSpice, ReadSpice};

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_Spice_File(const char *pcFileName, const double *pdSampleInterval,
                                           uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                           VomoHandle *phWaveform) noexcept {
  if (pdSampleInterval == nullptr || pulNumSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    return ReadSingle(kSpiceFormat, MakeRequest(pcFileName, *pdSampleInterval, pulNumSamples),
                      nullptr, pulNumSamples, ppsWaveform, phWaveform);
  });
}

extern "C" VomoStatus Vomo_Read_Combined_Spice_File(
    const char *pcFileName, const double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveform1, VomoHandle *phWaveform1, VomoWaveform **ppsWaveform2,
    VomoHandle *phWaveform2) noexcept {
  if (pdSampleInterval == nullptr || pulNumSamples == nullptr || ppsWaveform1 == nullptr ||
      phWaveform1 == nullptr || ppsWaveform2 == nullptr || phWaveform2 == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  Capture captures[2];
  const VomoStatus status = Guarded([&] {
    return ReadColumns(MakeRequest(pcFileName, *pdSampleInterval, pulNumSamples), captures, 2);
  });
  if (status != Vomo_STATUS_SUCCESS) {
    // A first record without a second stays in the handle table, to be freed with all others.
    VomoWaveform *undelivered;
    VomoHandle its_handle;
    captures[0].waveform.Deliver(&undelivered, &its_handle);
    return status;
  }
  captures[0].waveform.Deliver(ppsWaveform1, phWaveform1);
  captures[1].waveform.Deliver(ppsWaveform2, phWaveform2);
  return Vomo_STATUS_SUCCESS;
}
