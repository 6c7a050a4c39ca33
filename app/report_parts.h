// What reports of several commands show alike.
#ifndef VOMO_APP_REPORT_PARTS_H
#define VOMO_APP_REPORT_PARTS_H

#include <vomo.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "report_page.h"
#include "text_table.h"

namespace app {

// The lines that AlignColumns takes, with the head in front, as a table of a page.
report::Table PageTable(const std::vector<TextLine> &lines, std::string_view alignment);

// A stretch of a waveform against time; what lies outside the samples is left out.
report::Chart StretchChart(const VomoWaveform &waveform, uint64_t first, uint64_t count);

}  // namespace app

#endif
