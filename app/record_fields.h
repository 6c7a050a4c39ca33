// The fields of plain records as tables. One table of a record serves its JSON output, its loading
// from JSON and the text of every refusal, so that no list of fields is kept twice.
#ifndef VOMO_APP_RECORD_FIELDS_H
#define VOMO_APP_RECORD_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace app {

using Json = nlohmann::ordered_json;

enum class FieldType { kDouble, kFloat, kU32, kI32, kU16, kU8, kText, kRecord };

enum class FieldShape {
  kOne,      // the value itself
  kFixed,    // an array inside the record
  kPointed,  // a pointer to as many elements as a count field says
  kOptional  // a pointer to one record, or NULL
};

struct Choice {
  uint32_t value;
  const char *name;
};

struct RecordType;

template <class T>
constexpr FieldType FieldTypeOf() {
  if constexpr (std::is_same_v<T, double>) return FieldType::kDouble;
  if constexpr (std::is_same_v<T, float>) return FieldType::kFloat;
  if constexpr (std::is_same_v<T, uint32_t>) return FieldType::kU32;
  if constexpr (std::is_same_v<T, int32_t>) return FieldType::kI32;
  if constexpr (std::is_same_v<T, uint16_t>) return FieldType::kU16;
  if constexpr (std::is_same_v<T, uint8_t>) return FieldType::kU8;
  return FieldType::kRecord;
}

struct Field {
  const char *key = "";
  FieldType type = FieldType::kDouble;
  FieldShape shape = FieldShape::kOne;
  size_t offset = 0;
  size_t length = 0;  // kFixed
  const char *unit = "";
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  bool low_excluded = false;
  std::span<const Choice> choices = {};  // values with names; no others are taken
  const RecordType *record = nullptr;    // kRecord
  // kPointed: the field that holds the count, and how many elements there are beyond it. A count
  // shared by several arrays makes them equally long.
  size_t count_offset = 0;
  uint32_t count_excess = 0;

  template <class T>
  static constexpr Field Of(const char *key, size_t offset) {
    Field field;
    field.key = key;
    field.offset = offset;
    if constexpr (std::is_same_v<T, const char *>) {
      field.type = FieldType::kText;
    } else if constexpr (std::is_pointer_v<T>) {
      using Target = std::remove_cv_t<std::remove_pointer_t<T>>;
      field.type = FieldTypeOf<Target>();
      field.shape = field.type == FieldType::kRecord ? FieldShape::kOptional : FieldShape::kPointed;
    } else if constexpr (std::is_array_v<T>) {
      field.type = FieldTypeOf<std::remove_extent_t<T>>();
      field.shape = FieldShape::kFixed;
      field.length = std::extent_v<T>;
    } else {
      field.type = FieldTypeOf<T>();
    }
    return field;
  }
  // The rest of a description, as in FIELD(dFc).In("Hz").Above(0).
  constexpr Field In(const char *the_unit) const {
    Field copy = *this;
    copy.unit = the_unit;
    return copy;
  }
  constexpr Field From(double limit) const {
    Field copy = *this;
    copy.low = limit;
    return copy;
  }
  constexpr Field Above(double limit) const {
    Field copy = From(limit);
    copy.low_excluded = true;
    return copy;
  }
  constexpr Field To(double limit) const {
    Field copy = *this;
    copy.high = limit;
    return copy;
  }
  constexpr Field OneOf(std::span<const Choice> names) const {
    Field copy = *this;
    copy.choices = names;
    return copy;
  }
  constexpr Field Holding(const RecordType &type_of_record) const {
    Field copy = *this;
    copy.record = &type_of_record;
    return copy;
  }
  constexpr Field CountedBy(size_t offset_of_count, uint32_t excess = 0) const {
    Field copy = *this;
    copy.shape = FieldShape::kPointed;
    copy.count_offset = offset_of_count;
    copy.count_excess = excess;
    return copy;
  }
};

// Describes one member of a record: the name is the key, the rest follows from the declaration.
#define APP_FIELD(Record, member) \
  ::app::Field::Of<decltype(Record::member)>(#member, offsetof(Record, member))

struct RecordType {
  size_t size;
  std::span<const Field> fields;
};

// Holds what the pointers of a loaded record lead to.
class RecordStorage {
 public:
  void *Allocate(size_t bytes) {
    blocks_.push_back(std::make_unique<std::byte[]>(bytes));  // cleared
    return blocks_.back().get();
  }

 private:
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

// Numbers that are not finite and pointers that are NULL become null.
Json RecordToJson(const RecordType &type, const void *record);

// The unit of each field, in the shape of RecordToJson; fields without a unit are left out.
Json RecordUnits(const RecordType &type);

// Sets the fields named in the JSON object and leaves the others as they are. Throws Failure with
// the key, what was expected and what was found, for an unknown key, a wrong type or a number out
// of range. `path` stands in front of the key in these texts.
void JsonToRecord(const RecordType &type, const Json &json, const std::string &path, void *record,
                  RecordStorage *storage);

// Copies the lists that the record leads to into the storage, so that it outlives their owner. What
// an optional record leads to stays where it is.
void OwnLists(const RecordType &type, void *record, RecordStorage *storage);

// A finite double, or null.
Json NumberOrNull(double value);

}  // namespace app

#endif
