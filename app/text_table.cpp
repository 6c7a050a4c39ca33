#include "text_table.h"

#include <fmt/format.h>

#include <algorithm>

namespace app {
namespace {

std::string Coloured(const TextCell &cell, const std::string &text) {
  return fmt::format("\x1b[{}m{}\x1b[0m", cell.passed ? 32 : 31, text);
}

}  // namespace

std::string AlignColumns(const std::vector<TextLine> &lines, std::string_view alignment,
                         bool colour) {
  std::vector<size_t> widths(alignment.size());
  for (const TextLine &line : lines) {
    for (size_t c = 0; c < widths.size(); ++c) widths[c] = std::max(widths[c], line[c].text.size());
  }
  std::string text;
  for (const TextLine &line : lines) {
    std::string row;
    for (size_t c = 0; c < widths.size(); ++c) {
      const TextCell &cell = line[c];
      const bool last = c + 1 == widths.size();
      std::string padded = alignment[c] == 'r' ? fmt::format("{:>{}}", cell.text, widths[c])
                           : last              ? cell.text
                                               : fmt::format("{:<{}}", cell.text, widths[c]);
      if (colour && cell.verdict) padded = Coloured(cell, padded);
      row += padded + (last ? "\n" : "  ");
    }
    text += row;
  }
  return text;
}

TextCell VerdictCell(bool passed) {
  return {passed ? "pass" : "FAIL", true, passed};
}

}  // namespace app
