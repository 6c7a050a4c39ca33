#include "record_fields.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>

#include "failure.h"

namespace app {
namespace {

template <class T>
T Load(const void *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
void Store(void *at, T value) {
  std::memcpy(at, &value, sizeof value);
}

// Calls visit with a value of the C++ type behind a number field, for its type alone.
template <class Visit>
auto WithNumberType(FieldType type, Visit visit) {
  switch (type) {
    case FieldType::kFloat:
      return visit(float{});
    case FieldType::kU32:
      return visit(uint32_t{});
    case FieldType::kI32:
      return visit(int32_t{});
    case FieldType::kU16:
      return visit(uint16_t{});
    case FieldType::kU8:
      return visit(uint8_t{});
    default:
      return visit(double{});
  }
}

size_t ElementSize(const Field &field) {
  if (field.type == FieldType::kRecord) return field.record->size;
  return WithNumberType(field.type, [](auto value) { return sizeof value; });
}

// A float reads as its own shortest decimal form: 0.1 and not 0.10000000149011612.
double Shortest(float value) {
  char text[32];
  const char *end = std::to_chars(text, text + sizeof text, value).ptr;
  double result = value;
  std::from_chars(text, end, result);
  return result;
}

Json ElementToJson(const Field &field, const void *at) {
  if (field.type == FieldType::kRecord) return RecordToJson(*field.record, at);
  if (field.type == FieldType::kText) {
    const char *text = Load<const char *>(at);
    return text == nullptr ? Json(nullptr) : Json(text);
  }
  return WithNumberType(field.type, [&](auto type) -> Json {
    const auto value = Load<decltype(type)>(at);
    if constexpr (std::is_same_v<decltype(type), float>) {
      return std::isfinite(value) ? Json(Shortest(value)) : Json(nullptr);
    } else if constexpr (std::is_same_v<decltype(type), double>) {
      return NumberOrNull(value);
    } else {
      for (const Choice &choice : field.choices) {
        if (value == static_cast<decltype(type)>(choice.value)) return choice.name;
      }
      return value;
    }
  });
}

Json ArrayToJson(const Field &field, const std::byte *elements, size_t count) {
  Json array = Json::array();
  const size_t size = ElementSize(field);
  for (size_t i = 0; i < count; ++i) array.push_back(ElementToJson(field, elements + i * size));
  return array;
}

Json FieldToJson(const Field &field, const std::byte *record) {
  const std::byte *at = record + field.offset;
  if (field.shape == FieldShape::kOne) return ElementToJson(field, at);
  if (field.shape == FieldShape::kFixed) return ArrayToJson(field, at, field.length);
  const auto *target = Load<const std::byte *>(at);
  if (target == nullptr) return nullptr;
  if (field.shape == FieldShape::kOptional) return ElementToJson(field, target);
  const size_t count = Load<uint32_t>(record + field.count_offset) + size_t{field.count_excess};
  return ArrayToJson(field, target, count);
}

bool IsWhole(const Field &field) {
  return field.type != FieldType::kDouble && field.type != FieldType::kFloat;
}

// The range that a number field takes: its own, and no more than its type holds.
std::pair<double, double> Limits(const Field &field) {
  return WithNumberType(field.type, [&](auto number) {
    using Type = std::numeric_limits<decltype(number)>;
    return std::pair{std::max(field.low, static_cast<double>(Type::lowest())),
                     std::min(field.high, static_cast<double>(Type::max()))};
  });
}

std::string ExpectedElement(const Field &field) {
  if (field.type == FieldType::kRecord) return "an object";
  if (field.type == FieldType::kText) return "a text";
  if (!field.choices.empty()) {
    std::vector<std::string> names;
    for (const Choice &choice : field.choices) names.emplace_back(choice.name);
    return fmt::format("one of {}", fmt::join(names, ", "));
  }
  const auto [low, high] = Limits(field);
  std::string text = IsWhole(field) ? "a whole number" : "a number";
  if (IsWhole(field) || std::isfinite(field.low)) {
    text += fmt::format("{}{:.10g}", field.low_excluded ? " above " : " from ", low);
  }
  if (IsWhole(field) || std::isfinite(field.high)) text += fmt::format(" up to {:.10g}", high);
  if (*field.unit != '\0') text += fmt::format(" ({})", field.unit);
  return text;
}

std::string Expected(const Field &field) {
  switch (field.shape) {
    case FieldShape::kFixed:
      return fmt::format("a list of {}, each {}", field.length, ExpectedElement(field));
    case FieldShape::kPointed:
      return fmt::format("a list, each element {}", ExpectedElement(field));
    case FieldShape::kOptional:
      return ExpectedElement(field) + " or null";
    default:
      return ExpectedElement(field);
  }
}

std::string Found(const Json &json) {
  std::string text = json.dump();
  if (text.size() > 60) text = text.substr(0, 57) + "...";
  return text;
}

class Loader {
 public:
  explicit Loader(RecordStorage *storage) : storage_(storage) {}

  void LoadRecord(const RecordType &type, const Json &json, const std::string &path,
                  std::byte *record) {
    for (const auto &[key, value] : json.items()) {
      const Field *field = Find(type, key);
      if (field == nullptr) RefuseKey(type, path, key);
      LoadField(*field, value, path + key, record);
    }
    CheckSharedCounts(type, path, record);
  }

 private:
  [[noreturn]] static void Refuse(const Field &field, const Json &json, const std::string &path) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("setting {}: expected {}, found {}", path,
                                                     Expected(field), Found(json)));
  }

  [[noreturn]] static void RefuseKey(const RecordType &type, const std::string &path,
                                     const std::string &key) {
    std::vector<std::string> keys;
    for (const Field &field : type.fields) keys.emplace_back(field.key);
    throw Failure(ExitCode::kWrongUsage, fmt::format("unknown setting {}{}", path, key),
                  fmt::format("one of {}", fmt::join(keys, ", ")));
  }

  static const Field *Find(const RecordType &type, const std::string &key) {
    for (const Field &field : type.fields) {
      if (key == field.key) return &field;
    }
    return nullptr;
  }

  void LoadField(const Field &field, const Json &json, const std::string &path, std::byte *record) {
    std::byte *at = record + field.offset;
    switch (field.shape) {
      case FieldShape::kOne:
        return LoadElement(field, json, path, at);
      case FieldShape::kFixed:
        if (!json.is_array() || json.size() != field.length) Refuse(field, json, path);
        return LoadElements(field, json, path, at);
      case FieldShape::kOptional:
        if (json.is_null()) return Store<void *>(at, nullptr);
        Store<void *>(at, storage_->Allocate(field.record->size));
        return LoadElement(field, json, path, Load<std::byte *>(at));
      case FieldShape::kPointed:
        return LoadPointed(field, json, path, record);
    }
  }

  void LoadPointed(const Field &field, const Json &json, const std::string &path,
                   std::byte *record) {
    if (!json.is_null() && !(json.is_array() && json.size() >= field.count_excess)) {
      Refuse(field, json, path);
    }
    std::byte *elements = nullptr;
    if (!json.empty()) {
      elements = static_cast<std::byte *>(storage_->Allocate(json.size() * ElementSize(field)));
      LoadElements(field, json, path, elements);
    }
    const size_t count = json.empty() ? 0 : json.size() - field.count_excess;
    Store(record + field.offset, elements);
    Store(record + field.count_offset, static_cast<uint32_t>(count));
    lengths_[record + field.offset] = json.size();
  }

  void LoadElements(const Field &field, const Json &json, const std::string &path,
                    std::byte *elements) {
    for (size_t i = 0; i < json.size(); ++i) {
      LoadElement(field, json[i], fmt::format("{}[{}]", path, i),
                  elements + i * ElementSize(field));
    }
  }

  void LoadElement(const Field &field, const Json &json, const std::string &path, std::byte *at) {
    if (field.type == FieldType::kRecord) {
      if (!json.is_object()) Refuse(field, json, path);
      LoadRecord(*field.record, json, path + ".", at);
    } else if (field.type == FieldType::kText) {
      LoadText(field, json, path, at);
    } else {
      const double value = Number(field, json, path);
      WithNumberType(field.type, [&](auto type) { Store(at, static_cast<decltype(type)>(value)); });
    }
  }

  void LoadText(const Field &field, const Json &json, const std::string &path, std::byte *at) {
    if (json.is_null()) return Store<const char *>(at, nullptr);
    if (!json.is_string()) Refuse(field, json, path);
    const std::string text = json.get<std::string>();
    void *copy = storage_->Allocate(text.size() + 1);
    std::memcpy(copy, text.c_str(), text.size() + 1);
    Store(at, static_cast<const char *>(copy));
  }

  // The number that a field takes, tested against its type, range and choices.
  static double Number(const Field &field, const Json &json, const std::string &path) {
    for (const Choice &choice : field.choices) {
      if (json == choice.name || json == choice.value) return choice.value;
    }
    if (!json.is_number() || !field.choices.empty()) Refuse(field, json, path);
    const double value = json.get<double>();
    const auto [low, high] = Limits(field);
    const bool in_range = value <= high && (field.low_excluded ? value > low : value >= low);
    if (!in_range || (IsWhole(field) && value != std::floor(value))) Refuse(field, json, path);
    return value;
  }

  void CheckSharedCounts(const RecordType &type, const std::string &path, std::byte *record) {
    for (const Field &field : type.fields) {
      const auto length = lengths_.find(record + field.offset);
      if (length == lengths_.end()) continue;
      for (const Field &other : type.fields) {
        const auto other_length = lengths_.find(record + other.offset);
        if (other_length == lengths_.end() || other.count_offset != field.count_offset) continue;
        if (other_length->second == length->second) continue;
        throw Failure(
            ExitCode::kWrongUsage,
            fmt::format("setting {0}{1}: expected as many elements as {0}{2} has ({3}), "
                        "found {4}",
                        path, other.key, field.key, length->second, other_length->second));
      }
    }
  }

  RecordStorage *storage_;
  std::map<const std::byte *, size_t> lengths_;  // of the arrays loaded, by their pointer's place
};

}  // namespace

void OwnLists(const RecordType &type, void *record, RecordStorage *storage) {
  auto *bytes = static_cast<std::byte *>(record);
  for (const Field &field : type.fields) {
    std::byte *at = bytes + field.offset;
    if (field.shape == FieldShape::kOne && field.type == FieldType::kRecord) {
      OwnLists(*field.record, at, storage);
    }
    const auto *list = field.shape == FieldShape::kPointed ? Load<const std::byte *>(at) : nullptr;
    if (list == nullptr) continue;
    const size_t count = Load<uint32_t>(bytes + field.count_offset) + size_t{field.count_excess};
    const size_t size = count * ElementSize(field);
    void *copy = storage->Allocate(size);
    std::memcpy(copy, list, size);
    Store<void *>(at, copy);
  }
}

Json NumberOrNull(double value) {
  return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json RecordToJson(const RecordType &type, const void *record) {
  Json json = Json::object();
  for (const Field &field : type.fields) {
    json[field.key] = FieldToJson(field, static_cast<const std::byte *>(record));
  }
  return json;
}

Json RecordUnits(const RecordType &type) {
  Json units = Json::object();
  for (const Field &field : type.fields) {
    if (field.type == FieldType::kRecord) {
      Json nested = RecordUnits(*field.record);
      if (!nested.empty()) units[field.key] = std::move(nested);
    } else if (*field.unit != '\0') {
      units[field.key] = field.unit;
    }
  }
  return units;
}

void JsonToRecord(const RecordType &type, const Json &json, const std::string &path, void *record,
                  RecordStorage *storage) {
  Loader(storage).LoadRecord(type, json, path, static_cast<std::byte *>(record));
}

}  // namespace app
