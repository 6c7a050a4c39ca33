#include "parameter_dump_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>
#include <string_view>

#include "failure.h"
#include "run_records.h"

namespace app {
namespace {

// Each record begins with this line; nothing else separates them.
constexpr std::string_view kFirstLine = "dTargetUI = ";
// A dump prints no more template points than these.
constexpr size_t kMostPoints = 16;

std::vector<std::string> LastRecord(const std::string &path) {
  std::ifstream file(path);
  if (!file) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("cannot read the dump {}", path));
  }
  std::vector<std::string> lines;
  bool found = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(kFirstLine)) {
      lines.clear();
      found = true;
    }
    if (found) lines.push_back(line);
  }
  if (!found) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("{} is not a dump: no line begins with \"{}\"", path, kFirstLine),
                  "a file that vomo measure --dump wrote");
  }
  return lines;
}

const Field *FindField(const RecordType &type, std::string_view key) {
  for (const Field &field : type.fields) {
    if (field.key == key) return &field;
  }
  return nullptr;
}

// Takes the part of a name before its next arrow or dot off it, and that separator. Two arrows in a
// row count as one.
std::string_view TakeToken(std::string_view &name) {
  const size_t end = std::min(name.find("->"), name.find('.'));
  const std::string_view token = name.substr(0, end);
  name.remove_prefix(std::min(end, name.size()));
  while (name.starts_with("->") || name.starts_with('.')) {
    name.remove_prefix(name.starts_with('.') ? 1 : 2);
  }
  return token;
}

size_t TakeIndex(std::string_view &token) {
  const size_t bracket = token.find('[');
  if (bracket == std::string_view::npos) return 0;
  size_t index = 0;
  std::from_chars(token.data() + bracket + 1, token.data() + token.size(), index);
  token = token.substr(0, bracket);
  return index;
}

// Where a name of the dump stands in the document, and what is known of it there.
struct Place {
  Json *holder;
  const Field *field;
};

// None for a name that is not of a setting, and for a list whose elements do not come one by one.
std::optional<Place> FindPlace(Json &document, std::string_view name) {
  const RecordType *type = &kRunSettingsType;
  Json *holder = &document;
  while (true) {
    std::string_view token = TakeToken(name);
    const size_t index = TakeIndex(token);
    const Field *field = FindField(*type, token);
    if (field == nullptr) return std::nullopt;
    if (name.empty()) return Place{holder, field};
    if (field->record == nullptr) return std::nullopt;
    holder = &(*holder)[field->key];
    type = field->record;
    if (field->shape != FieldShape::kPointed) continue;
    if (!holder->is_array()) *holder = Json::array();
    if (index > holder->size()) return std::nullopt;
    if (index == holder->size()) holder->push_back(Json::object());
    holder = &(*holder)[index];
  }
}

Json ValueOf(const Field &field, const std::string &text) {
  if (text == "NULL") return nullptr;
  if (text.starts_with("UNKNOWN ("))
    return Json::parse(text.substr(9, text.size() - 10), nullptr, false);
  Json value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return text;
  // Of fixed lists only the used elements are printed.
  while (value.is_array() && value.size() < field.length) value.push_back(0);
  return value;
}

std::vector<double> NumbersIn(const std::string &line) {
  std::vector<double> numbers;
  const char *at = line.data(), *const end = at + line.size();
  while (at < end) {
    double value = 0;
    const auto [next, error] = std::from_chars(at, end, value);
    if (error == std::errc()) numbers.push_back(value);
    at = error == std::errc() ? next : at + 1;
  }
  return numbers;
}

// Points "x, y" or "x, y (index)" behind tabulators.
void SetPoints(Json &document, const std::string &owner, const std::string &line) {
  Json x = Json::array(), y = Json::array();
  for (size_t tab = line.find('\t'); tab != std::string::npos;) {
    const size_t next = line.find('\t', tab + 1);
    const std::vector<double> point = NumbersIn(line.substr(tab, next - tab));
    if (point.size() >= 2) {
      x.push_back(point[0]);
      y.push_back(point[1]);
    }
    tab = next;
  }
  document[owner] = {{"adXArray", std::move(x)}, {"afYArray", std::move(y)}};
}

class RecordReader {
 public:
  explicit RecordReader(DumpedSettings *settings) : settings_(settings) {}

  void Take(const std::string &line) {
    const size_t equals = line.find(" = ");
    if (line.starts_with('\t') || equals == std::string::npos) return TakeContinuation(line);
    name_ = line.substr(0, equals);
    // A stray letter of the format.
    if (name_.starts_with("ssFilterParams")) name_.erase(0, 1);
    TakeValue(line.substr(equals + 3));
  }

  void NoteWhatIsLost() {
    if (has_network_) settings_->lost.emplace_back("the four-port network (psSparamData)");
    if (!named_gen3_) settings_->lost.emplace_back("psGen3BaseCompParameters");
    if (cut_template_) {
      settings_->lost.push_back(fmt::format("template points beyond {}", kMostPoints));
    }
    if (has_definitions_) settings_->lost.emplace_back("digits of the pattern counts beyond 4");
  }

 private:
  void TakeValue(const std::string &value) {
    named_gen3_ |= name_.starts_with("psGen3BaseCompParameters");
    has_network_ |= name_.starts_with("psSparamData") && value != "NULL";
    has_definitions_ |= name_.ends_with(".ulPatDefLength");
    if (name_.ends_with("Template.ulArrayLength")) {
      cut_template_ |= NumbersIn(value) > std::vector<double>{kMostPoints};
    }
    std::string name = name_;
    if (value == "NULL" && name.ends_with("->")) name.resize(name.size() - 2);
    const std::optional<Place> place = FindPlace(settings_->document, name);
    if (place) (*place->holder)[place->field->key] = ValueOf(*place->field, value);
  }

  // A line without a name belongs to the one above.
  void TakeContinuation(const std::string &line) {
    if (name_.ends_with(".ulPatDefLength")) {
      const std::string list = name_.substr(0, name_.rfind('.')) + ".pdPatDefCounts";
      const std::optional<Place> place = FindPlace(settings_->document, list);
      if (place) (*place->holder)[place->field->key] = NumbersIn(line);
    } else if (name_.find("Template.") != std::string::npos) {
      SetPoints(settings_->document, name_.substr(0, name_.find('.')), line);
    }
  }

  DumpedSettings *settings_;
  std::string name_;
  bool has_network_ = false, named_gen3_ = false, cut_template_ = false, has_definitions_ = false;
};

}  // namespace

DumpedSettings ReadParameterDump(const std::string &path) {
  DumpedSettings settings{Json::object(), {}};
  RecordReader reader(&settings);
  for (const std::string &line : LastRecord(path)) reader.Take(line);
  reader.NoteWhatIsLost();
  return settings;
}

}  // namespace app
