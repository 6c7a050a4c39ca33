// Reads a run's settings back from the text that pcParameterDumpFile collects.
#ifndef VOMO_APP_PARAMETER_DUMP_READER_H
#define VOMO_APP_PARAMETER_DUMP_READER_H

#include <string>
#include <vector>

#include "record_fields.h"

namespace app {

struct DumpedSettings {
  Json document;
  std::vector<std::string> lost;  // what this record held and a dump does not carry
};

// The last record of the file. Throws Failure if there is none.
DumpedSettings ReadParameterDump(const std::string &path);

}  // namespace app

#endif
