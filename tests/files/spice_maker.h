// Spice transient files in memory.
#ifndef VOMO_TESTS_FILES_SPICE_MAKER_H
#define VOMO_TESTS_FILES_SPICE_MAKER_H

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "support/byte_builder.h"

namespace vomo_test {

inline constexpr char kSpiceMarker[] = "$&%#    ";
inline constexpr float kSpiceEnd = 1e30f;

class SpiceMaker {
 public:
  explicit SpiceMaker(std::endian order = std::endian::little) : bytes_(order) {}

  // A header block. The stated length may differ from the text's own.
  SpiceMaker &Header(const std::string &text, uint32_t stated_bytes) {
    bytes_.Put<uint32_t>(4).Put<uint32_t>(0xAAAAAAAA).Put<uint32_t>(0x55555555);
    bytes_.Put(stated_bytes).Text(text).Put(stated_bytes);
    return *this;
  }
  SpiceMaker &Header(const std::string &text) {
    return Header(text, static_cast<uint32_t>(text.size()));
  }

  // A data block that states so many floats and holds those given.
  SpiceMaker &Data(const std::vector<float> &floats, uint32_t stated_floats) {
    bytes_.Put<uint32_t>(0).Put(stated_floats).Put<uint32_t>(0).Put<uint32_t>(0);
    for (const float value : floats) bytes_.Put(value);
    bytes_.Put(stated_floats);
    return *this;
  }
  SpiceMaker &Data(const std::vector<float> &floats) {
    return Data(floats, static_cast<uint32_t>(floats.size()));
  }

  const std::string &bytes() const { return bytes_.bytes(); }

 private:
  ByteBuilder bytes_;
};

// The text of a last header block: counts of variables, probes and leading floats, the skip switch.
inline std::string SpiceHeader(const std::string &variables, const std::string &probes = "0000",
                               const std::string &leading = "0000", const std::string &skip = "0") {
  ByteBuilder text;
  text.TextAt(0, std::string(300, ' '));
  text.TextAt(0, variables.substr(4)).TextAt(12, variables.substr(0, 4));
  text.TextAt(4, probes).TextAt(8, leading).TextAt(184, skip);
  return text.bytes() + kSpiceMarker;
}

}  // namespace vomo_test

#endif
