// Calls of the readers as the tests make them: outputs poisoned before, and looked at after.
#ifndef VOMO_TESTS_FILES_READ_SUPPORT_H
#define VOMO_TESTS_FILES_READ_SUPPORT_H

#include <gtest/gtest.h>
#include <vomo.h>

#include <string>
#include <vector>

#include "core/waveform.h"
#include "support/memory_file.h"

namespace vomo_test {

// What a caller sees of one delivered waveform.
struct Seen {
  VomoStatus status = 0;
  uint32_t count = 0;
  double interval_s = 0;
  std::vector<float> samples;  // visible ones
  std::vector<float> stored;   // hidden ones too
  uint32_t trim_front = 0, trim_back = 0;
};

// Takes the record's content and frees it.
inline void Take(const VomoWaveform *waveform, VomoHandle handle, Seen *seen) {
  const float *stored = vomo::FirstStoredSample(*waveform);
  seen->interval_s = waveform->dSampleInterval;
  seen->samples.assign(waveform->pfSamples, waveform->pfSamples + waveform->ulNumSamples);
  seen->stored.assign(stored, stored + vomo::StoredSampleCount(*waveform));
  seen->trim_front = waveform->ulTrimFront;
  seen->trim_back = waveform->ulTrimBack;
  EXPECT_EQ(Vomo_HANDLE_FREE(handle), Vomo_STATUS_SUCCESS);
}

// Runs call(count in and out, record out, handle out). A failure must leave all three alone.
template <class Call>
Seen ReadWith(uint32_t limit, Call call) {
  VomoWaveform poison{};
  VomoWaveform *waveform = &poison;
  VomoHandle handle = 4711;
  Seen seen;
  seen.count = limit;
  seen.status = call(&seen.count, &waveform, &handle);
  if (seen.status == Vomo_STATUS_SUCCESS) {
    Take(waveform, handle, &seen);
  } else {
    EXPECT_EQ(seen.count, limit);
    EXPECT_EQ(waveform, &poison);
    EXPECT_EQ(handle, 4711u);
  }
  return seen;
}

}  // namespace vomo_test

#endif
