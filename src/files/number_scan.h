// Plain decimal numbers out of text, fast, rounded as strtof and strtod round them.
//
// What is read here is the everyday form: an optional sign, digits with or without a point, and an
// optional exponent. All else that a scan of "%f" accepts (hexadecimal numbers, infinities, NaN)
// and all that it refuses is told apart by the caller, who turns to ScanText for it.
#ifndef VOMO_FILES_NUMBER_SCAN_H
#define VOMO_FILES_NUMBER_SCAN_H

#include <bit>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace vomo {

// The value is digits * 10^exponent, if the digits were few enough for 64 bits.
struct Decimal {
  uint64_t digits = 0;
  int32_t exponent = 0;
  bool negative = false;
  bool whole = true;
};

constexpr bool IsDigit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

// White space within a line, as far as everyday lines have it.
constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

inline const char *SkipBlanks(const char *text) {
  while (IsBlank(*text)) ++text;
  return text;
}

inline const char *ScanDigits(const char *text, uint64_t *value) {
  uint64_t digits = *value;
  for (; IsDigit(*text); ++text) digits = digits * 10 + static_cast<uint64_t>(*text - '0');
  *value = digits;
  return text;
}

// The exponent behind an e; NULL without digits, and for more of them than any number needs.
inline const char *ScanExponent(const char *text, int32_t *exponent) {
  const bool negative = *text == '-';
  text += negative || *text == '+';
  uint64_t value = 0;
  const char *end = ScanDigits(text, &value);
  if (end == text || end - text > 4) return nullptr;
  *exponent += negative ? -static_cast<int32_t>(value) : static_cast<int32_t>(value);
  return end;
}

// Scans one number and returns the address behind it; NULL if the text begins with no plain decimal
// number. The text must end in a character that belongs to no number.
inline const char *ScanDecimal(const char *text, Decimal *number) {
  number->negative = *text == '-';
  text += number->negative || *text == '+';
  uint64_t value = 0;
  const char *end = ScanDigits(text, &value);
  auto digit_count = end - text;
  number->exponent = 0;
  if (*end == '.') {
    const char *fraction = end + 1;
    end = ScanDigits(fraction, &value);
    number->exponent = -static_cast<int32_t>(end - fraction);
    digit_count += end - fraction;
  }
  if (digit_count == 0) return nullptr;
  number->digits = value;
  number->whole = digit_count <= 19;
  return (*end | 0x20) == 'e' ? ScanExponent(end + 1, &number->exponent) : end;
}

inline constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                               1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                               1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Both digits and power are exact doubles, so that one operation gives the correctly rounded
// double. False beyond that.
inline bool RoundDecimal(const Decimal &number, double *value) {
  constexpr uint64_t kExactIntegers = uint64_t{1} << 53;
  if (!number.whole || number.digits > kExactIntegers || number.exponent < -22 ||
      number.exponent > 22) {
    return false;
  }
  const auto digits = static_cast<double>(number.digits);
  const double magnitude = number.exponent < 0 ? digits / kExactPowersOfTen[-number.exponent]
                                               : digits * kExactPowersOfTen[number.exponent];
  *value = number.negative ? -magnitude : magnitude;
  return true;
}

// Rounding the rounded double once more gives the correctly rounded float, unless the double lies
// half way between two floats: then the bits that the first rounding took away would decide. The
// range of the exponents leaves no float but 0 below the normal ones.
inline bool RoundDecimal(const Decimal &number, float *value) {
  constexpr uint64_t kBelowFloat = (uint64_t{1} << 29) - 1;
  constexpr uint64_t kHalfWay = uint64_t{1} << 28;
  double rounded;
  if (!RoundDecimal(number, &rounded)) return false;
  if ((std::bit_cast<uint64_t>(rounded) & kBelowFloat) == kHalfWay) return false;
  *value = static_cast<float>(rounded);
  return true;
}

// Reads one plain decimal number at the address and returns the address behind it; NULL if there is
// none, and for a number beyond the type's range. The value is set only on success.
template <class Real>
const char *ReadDecimal(const char *text, Real *value) {
  Decimal number;
  const char *end = ScanDecimal(text, &number);
  if (end == nullptr || RoundDecimal(number, value)) return end;
  const std::from_chars_result result = std::from_chars(text + (*text == '+'), end, *value);
  return result.ec == std::errc() && result.ptr == end ? end : nullptr;
}

// Scans a text as sscanf does in the "C" locale, whatever the application's locale is, and returns
// the number of fields converted (negative for a text that ends before the first).
int ScanText(const char *text, const char *format, ...) __attribute__((format(scanf, 2, 3)));

}  // namespace vomo

#endif
