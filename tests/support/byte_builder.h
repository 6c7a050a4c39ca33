// Binary file contents put together number by number, in either byte order.
#ifndef VOMO_SUPPORT_BYTE_BUILDER_H
#define VOMO_SUPPORT_BYTE_BUILDER_H

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>

namespace vomo_test {

class ByteBuilder {
 public:
  explicit ByteBuilder(std::endian order = std::endian::little) : order_(order) {}

  template <class T>
  ByteBuilder &Put(T value) {
    return Text(Encode(value));
  }
  ByteBuilder &Text(std::string_view text) {
    bytes_ += text;
    return *this;
  }
  ByteBuilder &Zeros(size_t count) {
    bytes_.append(count, '\0');
    return *this;
  }
  template <class T>
  ByteBuilder &PutAt(size_t offset, T value) {
    return TextAt(offset, Encode(value));
  }
  ByteBuilder &TextAt(size_t offset, std::string_view text) {
    bytes_.resize(std::max(bytes_.size(), offset + text.size()));
    bytes_.replace(offset, text.size(), text);
    return *this;
  }

  size_t size() const { return bytes_.size(); }
  const std::string &bytes() const { return bytes_; }

 private:
  template <class T>
  std::string Encode(T value) const {
    char raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    if (order_ != std::endian::native) std::reverse(raw, raw + sizeof raw);
    return std::string(raw, sizeof raw);
  }

  std::endian order_;
  std::string bytes_;
};

}  // namespace vomo_test

#endif
