// Text in aligned columns.
#ifndef VOMO_APP_TEXT_TABLE_H
#define VOMO_APP_TEXT_TABLE_H

#include <string>
#include <string_view>
#include <vector>

namespace app {

struct TextCell {
  std::string text;
  bool verdict = false, passed = false;  // green or red, where colour is wanted
};
using TextLine = std::vector<TextCell>;

// All lines have as many cells as `alignment` has characters: 'l' or 'r' for each column, with two
// spaces between columns.
std::string AlignColumns(const std::vector<TextLine> &lines, std::string_view alignment,
                         bool colour);

// "pass" or "FAIL".
TextCell VerdictCell(bool passed);

}  // namespace app

#endif
