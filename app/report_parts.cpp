#include "report_parts.h"

#include <algorithm>

namespace app {

report::Table PageTable(const std::vector<TextLine> &lines, std::string_view alignment) {
  report::Table table;
  for (const TextCell &cell : lines.front()) table.head.push_back(cell.text);
  for (const char side : alignment) table.left.push_back(side == 'l');
  for (size_t i = 1; i < lines.size(); ++i) {
    std::vector<report::Cell> cells;
    for (const TextCell &cell : lines[i]) {
      cells.push_back({cell.text, !cell.verdict ? report::Mark::kNone
                                  : cell.passed ? report::Mark::kPass
                                                : report::Mark::kFail});
    }
    table.rows.push_back(std::move(cells));
  }
  return table;
}

report::Chart StretchChart(const VomoWaveform &waveform, uint64_t first, uint64_t count) {
  report::Chart chart;
  chart.id = "stretch";
  chart.x.label = "ns";
  chart.y.label = "mV";
  chart.size = report::Size::kWide;
  const uint64_t end = std::min<uint64_t>(waveform.ulNumSamples, first + count);
  chart.series.push_back(report::Gather(
      "signal", end > first ? end - first : 0,
      [&](size_t i) { return static_cast<double>(first + i) * waveform.dSampleInterval * 1e9; },
      [&](size_t i) { return waveform.pfSamples[first + i] * 1e3; }));
  return chart;
}

}  // namespace app
