#include "files/number_scan.h"

#include <locale.h>

#include <cstdarg>
#include <cstdio>

namespace vomo {
namespace {

// The calling thread's locale is "C" for the life of this object; other threads don't notice.
class CLocale {
 public:
  CLocale() : locale_(newlocale(LC_ALL_MASK, "C", nullptr)), previous_(uselocale(locale_)) {}
  CLocale(const CLocale &) = delete;
  CLocale &operator=(const CLocale &) = delete;
  ~CLocale() {
    uselocale(previous_);
    freelocale(locale_);
  }

 private:
  locale_t locale_;
  locale_t previous_;
};

}  // namespace

int ScanText(const char *text, const char *format, ...) {
  const CLocale locale;
  va_list fields;
  va_start(fields, format);
  const int count = std::vsscanf(text, format, fields);
  va_end(fields);
  return count;
}

}  // namespace vomo
