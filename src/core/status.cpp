#include "core/status.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "primitives/status_text.h"

namespace {

// A context of full length must come through whole inside the longest message text.
struct StatusTexts {
  char context[256];
  char message[512];
};

StatusTexts g_texts{};

struct MessageRow {
  bool takes_context;
  const char *text;
};

constexpr MessageRow kWarnings[] = {
    {false, "Memory limit for crossover data exceeded"},
};

constexpr MessageRow kGeneralErrors[] = {
    {false, "Specified function not implemented"},
    {true, "Unexpected end of file found reading data input file \"%s\""},
    {true, "Error reading data input file \"%s\""},
    {false, "Incompatible sample intervals in single ended input files"},
    {true, "Not enough waveforms in file \"%s\""},
    {false, "One or more input parameters out of range"},
    {false, "One or more input parameters not valid"},
    {true, "Error with FFT descriptor: %s"},
    {true, "Error computing FFT: %s"},
    {true, "Error during computation: %s"},
    {false, "Invalid interval found while computing crossovers"},
    {false, "Not enough Unit Intervals for valid test"},
    {false, "Unable to locate the specified pattern in waveform"},
};

constexpr MessageRow kMemoryErrors[] = {
    {false, "Memory allocation failed"},
    {false, "All available memory handles are in use"},
};

constexpr VomoStatus kLibraryWord = 0x20000000u;

template <size_t kCount>
const MessageRow *RowAt(const MessageRow (&rows)[kCount], uint32_t code) {
  return code < kCount ? &rows[code] : nullptr;
}

const MessageRow *FindRow(VomoStatus status) {
  const uint32_t code = status & 0xFFFFu;
  switch (status & 0xFFFF0000u) {
    case 0xA0020000u:
      return RowAt(kMemoryErrors, code);
    case 0xA0000000u:
      return RowAt(kGeneralErrors, code);
    case 0x20000000u:
      return RowAt(kWarnings, code);
    default:
      return nullptr;
  }
}

const char *NumberedText(const char *kind, VomoStatus status) {
  std::snprintf(g_texts.message, sizeof g_texts.message, "%s status code 0x%" PRIX32, kind, status);
  return g_texts.message;
}

// The rows' formats hold exactly one "%s"; the parts around it are printed by width, so that no
// text but a constant ever serves as a format.
const char *TextWithContext(const char *format) {
  const char *place = std::strstr(format, "%s");
  std::snprintf(g_texts.message, sizeof g_texts.message, "%.*s%s%s",
                static_cast<int>(place - format), format, g_texts.context, place + 2);
  return g_texts.message;
}

}  // namespace

namespace vomo {

void Vomo_Set_Error_Context(const char *pcText) {
  std::snprintf(g_texts.context, sizeof g_texts.context, "%s", pcText != nullptr ? pcText : "");
}

VomoStatus PrimitiveFailure(int32_t iPrimitiveStatus, VomoStatus word) {
  Vomo_Set_Error_Context(qvsStatusText(iPrimitiveStatus));
  return word;
}

}  // namespace vomo

extern "C" const char *Vomo_Status_Message(VomoStatus status) noexcept {
  if (status == Vomo_STATUS_SUCCESS) return "Success";
  if ((status & kLibraryWord) == 0) return NumberedText("Invalid", status);
  const MessageRow *row = FindRow(status);
  if (row == nullptr) return NumberedText("Unknown", status);
  return row->takes_context ? TextWithContext(row->text) : row->text;
}
