// What the blocks of a simulator's transient file say.
#include <fmt/format.h>

#include <algorithm>

#include "format_layout.h"
#include "inspection.h"

namespace app {
namespace {

// The last header block's text and where it stands.
struct Header {
  std::endian order = std::endian::little;
  uint64_t text_at = 0;
  std::string text;
  uint64_t end = 0;
};

uint64_t DecimalField(const std::string &text, size_t at, size_t digits) {
  constexpr uint64_t kMost = INT32_MAX;
  uint64_t value = 0;
  for (size_t i = at; i < std::min(at + digits, text.size()); ++i) {
    if (text[i] < '0' || text[i] > '9') break;
    value = std::min(kMost, value * 10 + static_cast<uint64_t>(text[i] - '0'));
  }
  return value;
}

uint64_t VariableCount(const std::string &text) {
  if (text.size() < spice::kVariablesHigh + spice::kCountDigits) return 0;
  return DecimalField(text.substr(spice::kVariablesHigh, spice::kCountDigits) +
                          text.substr(spice::kVariablesLow, spice::kCountDigits),
                      0, 2 * spice::kCountDigits);
}

std::optional<Header> FindHeader(const FileBytes &file, Inspection *result) {
  Header header;
  for (uint64_t at = 0;; at = header.end) {
    if (at + spice::kPrefixBytes > file.size()) {
      result->Fail("header block", file.size(), "the end of the file",
                   "a text block that ends with \"$&%#    \"");
      return std::nullopt;
    }
    const bool little = file.At<uint32_t>(at) == spice::kOrderMark;
    header.order = little ? std::endian::little : std::endian::big;
    if (file.At<uint32_t>(at, header.order) != spice::kOrderMark) {
      result->Fail("byte order mark of a header block", at, file.Shown(at, 4),
                   "04 00 00 00 or 00 00 00 04");
      return std::nullopt;
    }
    const auto length = file.At<uint32_t>(at + spice::kPayloadBytes, header.order);
    if (length > spice::kLongestHeader) {
      result->Fail("header block length", at + spice::kPayloadBytes, std::to_string(length),
                   fmt::format("{} or less", spice::kLongestHeader));
      return std::nullopt;
    }
    header.text_at = at + spice::kPrefixBytes;
    header.text = file.Text(header.text_at, length);
    // A newline ends the text, and the file goes on behind it.
    const uint64_t used = std::min(header.text.find('\n'), header.text.size() - 1) + 1;
    header.end = header.text_at + (header.text.empty() ? 0 : used) + spice::kTrailerBytes;
    if (header.text.size() == length && header.text.ends_with(spice::kEndOfHeader)) return header;
  }
}

// Floats in the data blocks, up to the end of the data.
uint64_t CountFloats(const FileBytes &file, const Header &header, Inspection *result) {
  uint64_t floats = 0, blocks = 0;
  for (uint64_t at = header.end; at + spice::kPrefixBytes <= file.size(); ++blocks) {
    const uint64_t stated = file.At<uint32_t>(at + spice::kFloatCount, header.order);
    at += spice::kPrefixBytes;
    const uint64_t present = std::min(stated, (file.size() - at) / 4);
    floats += present;
    if (present != stated) {
      result->notes.push_back(
          fmt::format("the file is cut short at byte {}, amid a block of {} numbers of which it "
                      "holds {}",
                      file.size(), stated, present));
      break;
    }
    at += 4 * present + spice::kTrailerBytes;
    const uint64_t last = at - spice::kTrailerBytes - 4;
    if (present != 0 && file.At<float>(last, header.order) > spice::kEndOfData) {
      --floats;
      break;
    }
  }
  result->Tell("data blocks", blocks);
  return floats;
}

}  // namespace

Inspection InspectSpice(const FileBytes &file, const InspectionRequest &request) {
  Inspection result;
  const std::optional<Header> header = FindHeader(file, &result);
  if (!header) return result;
  const bool little = header->order == std::endian::little;
  const uint64_t variables = VariableCount(header->text);
  const uint64_t probes = DecimalField(header->text, spice::kProbes, spice::kCountDigits);
  const bool skips = DecimalField(header->text, spice::kSkipSwitch, spice::kSkipSwitchDigits) != 0;
  const uint64_t leading =
      skips ? DecimalField(header->text, spice::kLeadingFloats, spice::kCountDigits) : 0;
  const uint64_t columns = variables + probes;
  result.waveforms = static_cast<int64_t>(columns);
  result.Tell("byte order", little ? "little-endian" : "big-endian");
  result.Tell("variables", variables);
  result.Tell("probes", probes);
  result.Tell("numbers skipped in front", leading);
  const uint64_t floats = CountFloats(file, *header, &result);
  result.Tell("numbers", floats);
  const auto wanted = static_cast<uint64_t>(request.waveforms);
  if (columns < wanted) {
    result.Fail("number of columns", header->text_at,
                fmt::format("{} variables and {} probes", variables, probes),
                fmt::format("{} or more together", wanted));
    return result;
  }
  result.Tell("numbers in a column", (floats - std::min(leading, floats)) / columns);
  if (floats == 0) {
    result.Fail("data block", header->end, file.Shown(header->end, spice::kPrefixBytes),
                "a block with numbers");
  }
  return result;
}

}  // namespace app
