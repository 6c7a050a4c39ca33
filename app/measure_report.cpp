#include "measure_report.h"

#include <fmt/format.h>
#include <vomo.h>

#include <algorithm>

#include "engineering.h"
#include "file_hash.h"

namespace app {
namespace {

constexpr const char *kFormulas =
    R"(UI          = (t[N-1] - t[0]) / (N - 1), or the slope of the line through t[k]      t[k]: clock edges
TIE[k]      = sum over i <= k of (t[i] - t[i-1] - UI), less its mean
jitter[k]   = TIE[k] behind the high pass of the settings
Rj          = rms of the jitter whose spectrum is cut down to the noise floor
Q(p)        = sqrt(2) erfinv(1 - 2p)         p: probability summed up from one end of the histogram
Q(x)        = (position - x) / Rj            the line fitted to each tail, on its own axis
Dj          = left position + right position, the left one on the mirrored axis
Tj          = Dj - 2 Q(BER) Rj
BER(x)      = p, and 0.5 erfc(-Q(x) / sqrt(2)) where it is extrapolated
hit ratio   = points inside the template / points of the bits of its class, 32 or more in a UI
margin      = distance of the eye from the template: positive outside, negative inside)";

}  // namespace

void AddResults(report::Page &page, const std::vector<ResultRow> &rows, double unit_interval_s) {
  report::Table table{{"quantity", "value", "mUI", "UI counted", "limit", "", "method"},
                      {},
                      {false, false, false, false, false, false, true}};
  for (const ResultRow &row : rows) {
    const report::Mark mark = !row.limit     ? report::Mark::kNone
                              : row.passed() ? report::Mark::kPass
                                             : report::Mark::kFail;
    table.rows.push_back(
        {{row.quantity},
         {Engineering(row.value, row.unit, row.digits)},
         {row.unit == "s" ? Engineering(row.value / unit_interval_s * 1e3, "", row.digits) : ""},
         {row.ui_count > 0 ? fmt::format("{}", row.ui_count) : ""},
         {LimitText(row)},
         {!row.limit     ? ""
          : row.passed() ? "pass"
                         : "FAIL",
          mark},
         {row.method}});
  }
  page.AddHeading("Results");
  page.AddTable(table);
}

void AddVerdict(report::Page &page, const std::vector<ResultRow> &rows) {
  std::string failed;
  size_t limits = 0;
  for (const ResultRow &row : rows) {
    limits += row.limit ? 1 : 0;
    if (!row.passed()) failed += (failed.empty() ? "" : ", ") + row.quantity;
  }
  page.AddVerdict(failed.empty(), failed.empty()
                                      ? fmt::format("all {} limits of the settings are met", limits)
                                      : "outside its limit: " + failed);
}

void AddInput(report::Page &page, const std::vector<Capture> &captures) {
  const char *roles[] = {"positive half", "negative half"};
  report::Table table{{"", ""}, {}, {false, true}};
  for (size_t i = 0; i < captures.size(); ++i) {
    const Capture &capture = captures[i];
    const VomoWaveform &waveform = *capture.waveform();
    const auto add = [&](const char *name, const std::string &text) {
      table.rows.push_back({{name}, {text}});
    };
    add(captures.size() > 1 ? roles[i] : "capture", capture.path());
    if (capture.number() != 0) add("waveform", fmt::format("{} in the file", capture.number()));
    add("format", std::string(capture.format()));
    if (capture.bytes()) {
      add("size", fmt::format("{} bytes", *capture.bytes()));
      add("SHA-256", FileSha256(capture.path()));
    }
    add("samples",
        fmt::format("{} at {}, {} in all", waveform.ulNumSamples,
                    Engineering(waveform.dSampleInterval, "s", 6),
                    Engineering(waveform.dSampleInterval * waveform.ulNumSamples, "s", 4)));
    for (const auto &note : capture.notes()) add("note", note);
  }
  table.rows.push_back({{"measured with"}, {"vomo " VOMO_VERSION}});
  page.AddHeading("Input");
  page.AddTable(table);
}

std::string MeasureReport(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                          const std::vector<Capture> &captures, const Signal &signal,
                          const RecoveredClock *clock, std::span<const double> jitter,
                          const std::optional<UnequalisedSignal> &unequalised,
                          const Json &settings) {
  const ReportSource source{outcome, signal, clock, jitter, unequalised};
  report::Page page(fmt::format("{}, {}", captures[0].path(),
                                Engineering(1 / outcome.results.dUnitInterval, "bit/s", 5)));
  AddVerdict(page, rows);
  AddResults(page, rows, outcome.params.dTargetUI);
  if (unequalised) AddEqualisers(page, source);
  if (clock != nullptr) AddEyes(page, source);
  AddJitterCharts(page, source);
  if (clock != nullptr) AddWorstIntervals(page, source);
  AddInput(page, captures);
  page.AddHeading("Settings and formulas");
  page.AddDetails("Formulas", kFormulas);
  page.AddDetails("Settings of the run",
                  settings.dump(2, ' ', false, Json::error_handler_t::replace));
  return page.Html();
}

}  // namespace app
