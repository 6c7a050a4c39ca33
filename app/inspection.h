// What the headers of a capture file say, read by the application itself so that it can explain a
// file, also one that the library refuses.
#ifndef VOMO_APP_INSPECTION_H
#define VOMO_APP_INSPECTION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "record_fields.h"

namespace app {

// A numeric value is in `unit`, which may be empty.
struct HeaderFact {
  std::string name;
  Json value;
  std::string unit = "";
};

// The first thing in the file that keeps it from being read.
struct FailedCheck {
  std::string check;  // what was looked at
  uint64_t byte;      // where, from the start of the file
  std::string found, needed;

  std::string Text() const;
};

struct Inspection {
  std::vector<HeaderFact> facts;
  std::optional<FailedCheck> failed;
  // What can be read, but perhaps not as its owner thinks.
  std::vector<std::string> notes;
  int64_t waveforms = 1;

  // A number that is not finite is kept as text.
  void Tell(const std::string &name, Json value, const std::string &unit = "");
  void Fail(const std::string &check, uint64_t byte, const std::string &found,
            const std::string &needed);
};

// What somebody wants of the file.
struct InspectionRequest {
  const char *path;         // the file's name, for what the library tells
  int waveforms = 1;        // 2 for the two of one file
  uint32_t skip_lines = 0;  // of a text file
};

Inspection InspectBin(const FileBytes &file, const InspectionRequest &request);
Inspection InspectTrc(const FileBytes &file, const InspectionRequest &request);
Inspection InspectWfm(const FileBytes &file, const InspectionRequest &request);
Inspection InspectSpice(const FileBytes &file, const InspectionRequest &request);
Inspection InspectText(const FileBytes &file, const InspectionRequest &request);
Inspection InspectTouchstone(const FileBytes &file, const InspectionRequest &request);

// Characters in front of a TRC file's descriptor: 0 without a prefix.
size_t TrcPrefixBytes(const std::string &head);

}  // namespace app

#endif
