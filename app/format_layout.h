// Where the numbers stand in the binary capture formats: offsets in bytes, as the format's own
// documents count them. Shared by what writes these files and by what explains them.
#ifndef VOMO_APP_FORMAT_LAYOUT_H
#define VOMO_APP_FORMAT_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace app {

// A file header, then for each waveform a waveform header, a data header and floats. Both of these
// headers begin with their own length (signed 32-bit). All little-endian.
namespace bin {
constexpr char kCookie[] = "AG";
constexpr size_t kFileHeaderBytes = 12;
constexpr size_t kWaveformCount = 8;  // signed 32-bit
// From the start of a waveform header.
constexpr size_t kWaveformHeaderBytes = 140;  // as written; any length is read
constexpr size_t kType = 4;                   // signed 32-bit, 1 for ordinary samples
constexpr size_t kPoints = 12;                // signed 32-bit
constexpr size_t kInterval = 32;              // double, seconds
// From the start of a data header.
constexpr size_t kDataHeaderBytes = 12;
constexpr size_t kBufferType = 4;     // signed 16-bit, 1 to 3 are samples
constexpr size_t kBytesPerPoint = 6;  // signed 16-bit
constexpr size_t kBufferBytes = 8;    // unsigned 32-bit
constexpr int16_t kFirstSampleType = 1, kLastSampleType = 3;
}  // namespace bin

// Perhaps the prefix of a definite-length block, a descriptor, user text, 8 or 16-bit integers.
namespace trc {
constexpr char kDescriptorText[] = "WAVEDESC";
constexpr size_t kHeaderBytes = 346;  // from the start of the file, prefix included
// From the descriptor's text on; lengths are unsigned 32-bit, in bytes.
constexpr size_t kDataType = 32;   // low byte: 1 for 16 bits
constexpr size_t kByteOrder = 34;  // unsigned 16-bit: 1 for little-endian
constexpr size_t kDescriptorLength = 36;
constexpr size_t kUserTextLength = 40;
constexpr size_t kArrayLength = 60;
constexpr size_t kGain = 156;      // float, volts a step
constexpr size_t kOffset = 160;    // float, volts, subtracted from the scaled sample
constexpr size_t kInterval = 176;  // float, seconds
constexpr uint32_t kLengthLimit = 65536;
}  // namespace trc

// A header in three versions, then the curve.
namespace wfm {
constexpr size_t kMark = 0;            // unsigned 16-bit, read little-endian
constexpr size_t kVersionText = 2;     // eight characters
constexpr size_t kVersionDigit = 9;    // the last of them
constexpr size_t kBytesPerPoint = 15;  // signed 8-bit
constexpr size_t kCurve = 16;          // unsigned 32-bit, where the curve begins
constexpr uint16_t kNativeMark = 0x0F0F, kSwappedMark = 0xF0F0;

struct Layout {
  size_t header_bytes;
  size_t scale, offset;           // doubles, volts; the offset is added
  size_t format;                  // unsigned 32-bit, a row of kSampleFormats
  size_t interval;                // double, seconds
  size_t data_start, post_start;  // unsigned 32-bit, bytes within the curve
};
constexpr Layout kLayouts[] = {
    {820, 166, 174, 238, 478, 804, 808},
    {822, 168, 176, 240, 480, 806, 810},
    {838, 168, 176, 240, 488, 822, 826},
};

struct SampleFormat {
  uint32_t number;
  int bytes;
  const char *name;
};
constexpr SampleFormat kSampleFormats[] = {
    {0, 2, "16-bit signed"}, {1, 4, "32-bit signed"}, {2, 4, "32-bit unsigned"},
    {4, 4, "32-bit float"},  {5, 8, "64-bit float"},  {6, 1, "8-bit unsigned"},
    {7, 1, "8-bit signed"},
};
}  // namespace wfm

// Blocks: four 32-bit words, a payload, one more word. Blocks of text up to one with an end mark
// are the header; the blocks behind it hold floats, all of the first column, then all of the next.
namespace spice {
constexpr size_t kPrefixBytes = 16, kTrailerBytes = 4;
constexpr uint32_t kOrderMark = 4;    // word 0
constexpr size_t kFloatCount = 4;     // data block: floats in the payload
constexpr size_t kPayloadBytes = 12;  // header block: bytes in the payload
constexpr uint32_t kLongestHeader = 8195;
constexpr char kEndOfHeader[] = "$&%#    ";
constexpr size_t kEndOfHeaderBytes = sizeof kEndOfHeader - 1;
// Decimal digits in the payload of the last header block.
constexpr size_t kCountDigits = 4;
constexpr size_t kVariablesLow = 0, kProbes = 4, kLeadingFloats = 8, kVariablesHigh = 12;
constexpr size_t kSkipSwitch = 184, kSkipSwitchDigits = 80;
// A block whose last float is above this ends the data.
constexpr float kEndOfData = 9e29f;
}  // namespace spice

}  // namespace app

#endif
