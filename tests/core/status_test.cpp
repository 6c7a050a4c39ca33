#include "core/status.h"

#include <gtest/gtest.h>

#include <string>

#include "primitives/status_text.h"

namespace {

using vomo::Vomo_Set_Error_Context;

// Asked before any test can store a context.
const std::string g_message_at_load = Vomo_Status_Message(Vomo_STATUS_FILE_READ_ERROR);

TEST(StatusMessage, ContextIsEmptyAtLoad) {
  EXPECT_EQ(g_message_at_load, "Error reading data input file \"\"");
}

TEST(StatusMessage, TellsEveryKindOfWord) {
  const struct {
    VomoStatus status;
    const char *text;
  } cases[] = {
      {0, "Success"},
      {0x5, "Invalid status code 0x5"},
      {0x80000000, "Invalid status code 0x80000000"},
      {0x5FFFFFFF, "Invalid status code 0x5FFFFFFF"},
      {0x20000000, "Memory limit for crossover data exceeded"},
      {0x20000001, "Unknown status code 0x20000001"},
      {0x20010000, "Unknown status code 0x20010000"},
      {0xA0000000, "Specified function not implemented"},
      {0xA0000003, "Incompatible sample intervals in single ended input files"},
      {0xA000000C, "Unable to locate the specified pattern in waveform"},
      {0xA000000D, "Unknown status code 0xA000000D"},
      {0xA000000F, "Unknown status code 0xA000000F"},
      {0xA0020001, "All available memory handles are in use"},
      {0xA0020002, "Unknown status code 0xA0020002"},
      {0xE0000005, "Unknown status code 0xE0000005"},
  };
  for (const auto &c : cases) EXPECT_STREQ(Vomo_Status_Message(c.status), c.text);
}

TEST(StatusMessage, InsertsTheContextAsItStands) {
  Vomo_Set_Error_Context("50%s%n done.txt");
  EXPECT_STREQ(Vomo_Status_Message(Vomo_STATUS_UNEXPECTED_EOF),
               "Unexpected end of file found reading data input file \"50%s%n done.txt\"");
  EXPECT_EQ(vomo::PrimitiveFailure(-6, Vomo_STATUS_FFT_COMPUTE_ERROR),
            Vomo_STATUS_FFT_COMPUTE_ERROR);
  const char *first = Vomo_Status_Message(Vomo_STATUS_FFT_COMPUTE_ERROR);
  EXPECT_STREQ(first, "Error computing FFT: qvsStsSizeErr: Wrong value of data size");
  // A constant text leaves the buffer alone; the next built text reuses it.
  Vomo_Status_Message(Vomo_STATUS_NOT_ENOUGH_UI);
  EXPECT_STREQ(first, "Error computing FFT: qvsStsSizeErr: Wrong value of data size");
  EXPECT_EQ(Vomo_Status_Message(0x7), first);
}

TEST(StatusMessage, LongContextsAreCutNotOverrun) {
  const std::string fits(255, 'a');
  const std::string message = "Unexpected end of file found reading data input file \"";
  for (const std::string &name : {fits, fits + "b", std::string(100000, 'a')}) {
    Vomo_Set_Error_Context(name.c_str());
    EXPECT_EQ(Vomo_Status_Message(Vomo_STATUS_UNEXPECTED_EOF), message + fits + "\"");
  }
  Vomo_Set_Error_Context(nullptr);
  EXPECT_STREQ(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR), "Error during computation: ");
}

TEST(StatusWord, OnlyBits31And29MakeAnError) {
  for (const VomoStatus status : {0u, 0x20000000u, 0x20000001u, 0x80000000u}) {
    EXPECT_FALSE(Vomo_STATUS_IS_ERROR(status));
  }
  for (const VomoStatus status : {0xA0000000u, 0xA000000Fu, 0xA0020001u, 0xA1234567u}) {
    EXPECT_TRUE(Vomo_STATUS_IS_ERROR(status));
  }
}

TEST(PrimitiveStatusText, UnlistedNumbersGetTheUnknownText) {
  EXPECT_STREQ(vomo::qvsStatusText(-68), "qvsStsUnknownStatusCodeErr: Unknown Status Code");
  EXPECT_STREQ(vomo::qvsStatusText(18), "qvsStsSingularity: Singularity occurred in the operation");
}

}  // namespace
