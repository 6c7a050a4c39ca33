#include "settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "failure.h"
#include "parameter_dump_reader.h"
#include "run_records.h"
#include "template_test.h"

namespace app {
namespace {

// What the built-in sets differ in. These are engineering choices of this program, a place to start
// from, and not the limits of any standard. Jitter limits are in UI, at a bit error ratio of 1e-12.
struct RateRow {
  double rate;
  double tj_ui, dj_ui;
  float mask_v;  // half height of the templates' flat part for transition bits
};
constexpr RateRow kRates[] = {
    {2.5e9, 0.25, 0.12, 0.25f},
    {5e9, 0.30, 0.15, 0.20f},
    {8e9, 0.35, 0.17, 0.15f},
};

// Other rates take the row that is nearest by ratio; times scale with the unit interval anyway.
const RateRow &RowFor(double rate) {
  const RateRow *best = &kRates[0];
  for (const RateRow &row : kRates) {
    if (std::abs(std::log(row.rate / rate)) < std::abs(std::log(best->rate / rate))) best = &row;
  }
  return *best;
}

// Without the last digits that binary arithmetic leaves, so that a printed set is easy to read.
double Rounded(double value) {
  return std::stod(fmt::format("{:.9g}", value));
}

// Q of the bit error ratio 1e-12: half the width of a Gaussian at that ratio, in standard
// deviations.
constexpr double kTargetQ = -7.034484;

void SetClockRecovery(double rate, VomoComplianceParams &params) {
  params.dTargetUI = 1 / rate;
  params.dSettlingTime = 0;  // three samples beyond the band, the least there is
  params.eInterpMethod = Vomo_INTERP_LINEAR;
  params.eCrossoverTypes = Vomo_CROSSOVERS_RISE_FALL;
  params.ePhaseErrorIntervalType = Vomo_PHASE_ERROR_MEAN;
  // The customary first-order loop: jitter below rate / 1667 is followed and thereby taken off.
  params.eFilterOrder = FIRST_ORDER;
  params.sFilterParams = {Rounded(rate / 1667), 0.707, 0, 0};
  // A hundred time constants of that loop take 26,500 UI; fewer than 10,000 give no usable tail.
  params.ulMinUIForOfficialTest = 10'000;
}

void SetNoiseFloor(double rate, VomoComplianceParams &params) {
  // A bin of a Gaussian spectrum has a Rayleigh magnitude: median 1.18, standard deviation 0.66 of
  // its scale. Four deviations above the median only 1 bin in 1300 is touched without a line in it,
  // which lowers Rj by less than 0.1 %. Lines are kept out of those statistics by the multiple.
  // Stretches are short where the loop's high pass bends the spectrum, and long where it is flat.
  params.sNoiseFloorAlgParams = {4, 5, rate / 400, rate / 40, rate / 4000, rate / 800, rate / 160};
}

void SetJitterFit(const RateRow &row, VomoComplianceParams &params) {
  const double ui = params.dTargetUI;
  params.dPointsToTrimPercent = 0.01;  // the circular filter's transients lie at the ends
  params.dPDFBinSize = Rounded(ui / 2000);
  params.dTargetBERQVal = kTargetQ;
  params.dRjRMSInput = 0;
  // The lines are laid through the last few bins of the tails, with single hits among them: as far
  // out as the capture goes, where Tj depends least on an Rj that is a little off.
  params.ulRemoveBinsNumPoints = 1;
  params.ulNumPointsToUseInCdfFit = 10;
  params.dTjPeakPeakJitterLimit = Rounded(row.tj_ui * ui);
  params.dDjDeltaDeltaJitterLimit = Rounded(row.dj_ui * ui);
  params.dRjRMSMaxJitterLimit = Rounded((row.tj_ui - row.dj_ui) / (-2 * kTargetQ) * ui);
  params.dPeakPeakJitterLimit = Rounded(row.tj_ui * ui);
}

// A hexagon as wide as the eye that the total jitter leaves, its slanted sides 0.15 UI long.
void SetEye(const RateRow &row, std::vector<double> *x, std::vector<float> *y,
            VomoComplianceParams &params) {
  const double left = row.tj_ui / 2;
  *x = {left, left + 0.15, 0.85 - left, 1 - left, 0.85 - left, left + 0.15};
  std::transform(x->begin(), x->end(), x->begin(), Rounded);
  const float top = row.mask_v;
  *y = {0, top, top, 0, -top, -top};
  params.sTransTemplate = {6, x->data(), y->data(), nullptr, 0, 0};
  params.sNonTransTemplate = params.sTransTemplate;
  params.fTransitionHighVoltageRail = params.fNonTransitionHighVoltageRail = 0.6f;
  params.fTransitionLowVoltageRail = params.NonTransitionLowVoltageRail = -0.6f;
  params.eVoltageMarginType = Vomo_CENTER_MIN;
  params.fVoltageHistBinSize = 0.002f;
  params.iVoltageHistTrimCount = 0;
  params.dVoltageHistTrimFactor = 1e-4;
  params.dEyePlotWrapLeftValue = params.dEyePlotWrapRightValue = 0.5;
  params.ulEyeDiagramOffset = 10;
  params.ulHistogramBinSizeUI = 100;
}

// The corners of what receivers of a common 100 MHz reference clock use, as engineering choices: a
// slow and a fast loop, each with much peaking (2.1 dB) and with next to none.
constexpr VomoFilterParams kPlls[] = {
    {2e6, 0.707, 0, 0}, {2e6, 2.0, 0, 0}, {5e6, 0.707, 0, 0}, {5e6, 2.0, 0, 0}};

VomoDualPortParams DualPort(double rate) {
  VomoDualPortParams dual = {};
  dual.dClockTargetUI = 10e-9;
  dual.eClockCrossoverTypes = Vomo_CROSSOVERS_RISING;
  // Data and clock reach the receiver by ways that differ by up to 12 ns.
  dual.ulClockDataOffsetUI = static_cast<uint32_t>(std::min(12e-9 * rate + 0.5, 1e6));
  dual.iPLLFilterCount = std::size(kPlls);
  dual.psPLLFilterParams = kPlls;
  return dual;
}

// Windows that keep clear of the edges' settling at the begin of a run and of preshoot at its end,
// for runs of 64 bits beside 64 toggling ones.
VomoGen3BaseCompParameters Transmitter() {
  VomoGen3BaseCompParameters gen3 = {};
  gen3.ulEIEOSFirst = 3;
  gen3.ulEIEOSLast = 7;
  gen3.ulPS21ShortRun = gen3.ulPS21ShortRunMax = gen3.ulPS21LongRun = 64;
  gen3.ulPS21ShortFirst = gen3.ulPS21LongFirst = 57;
  gen3.ulPS21ShortLast = gen3.ulPS21LongLast = 62;
  gen3.ulTargetRunLength = gen3.ulTargetRunMax = 64;
  gen3.ulTargetFirst = 57;
  gen3.ulTargetLast = 62;
  gen3.dTargetFraction = 0.02;
  return gen3;
}

// Without equalisers in the set, these wait for some.
void SetEqualisers(VomoComplianceParams &params) {
  params.iCTLEUICount = kTrialUi;
  // The other three judge by the outermost levels of the eye, this one by the spread of its edges.
  params.eCTLEOpt = OPT_EYE_WIDTH;
  params.fCTLEBeginSampleWindow = 0.4f;
  params.fCTLEEndSampleWindow = 0.6f;
}

// Of the last change that tells it, if there is one.
std::optional<double> UnitIntervalOf(const std::vector<Json> &changes) {
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    const auto ui = change->find("dTargetUI");
    if (ui != change->end() && ui->is_number() && ui->get<double>() > 0) return ui->get<double>();
  }
  return std::nullopt;
}

// The library leaves out a dump that it can't write.
void CheckDumpFile(const std::string &path) {
  if (std::ofstream(path, std::ios::app)) return;
  throw Failure(ExitCode::kWrongUsage, fmt::format("cannot write the dump {}", path),
                "a file in a folder that may be written to");
}

}  // namespace

RunSettings::RunSettings(const Json &document) {
  JsonToRecord(kRunSettingsType, document, "", &record_, &storage_);
  VomoComplianceParams &params = record_.params;
  PrepareTemplate(params.sTransTemplate, "sTransTemplate", &params.sTransPassFailInfo);
  PrepareTemplate(params.sNonTransTemplate, "sNonTransTemplate", &params.sNonTransPassFailInfo);
}

Json BuiltInSettings(double rate, RunKind kind) {
  RunSettingsRecord record = {};
  VomoComplianceParams &params = record.params;
  std::vector<double> x;
  std::vector<float> y;
  VomoPatChkData pattern = {};  // without definitions it still measures the edge density
  pattern.dPatRatioMax = 0.1;
  params.psPatChkData = &pattern;
  SetClockRecovery(rate, params);
  SetNoiseFloor(rate, params);
  SetJitterFit(RowFor(rate), params);
  SetEye(RowFor(rate), &x, &y, params);
  SetEqualisers(params);
  const VomoDualPortParams dual = DualPort(rate);
  if (kind == RunKind::kDualPort) record.sDualPort = &dual;
  const VomoGen3BaseCompParameters transmitter = Transmitter();
  if (kind == RunKind::kTransmitter) params.psGen3BaseCompParameters = &transmitter;
  return RecordToJson(kRunSettingsType, &record);
}

Json ResolveSettings(const SettingsRequest &request) {
  std::vector<Json> changes;
  if (!request.dump.empty()) {
    DumpedSettings dumped = ReadParameterDump(request.dump);
    for (const std::string &lost : dumped.lost) {
      fmt::print(stderr, "vomo: warning: {}: a dump does not carry {}\n", request.dump, lost);
    }
    changes.push_back(std::move(dumped.document));
  }
  // Before the assignments, which may change single fields of the equalisers.
  const size_t from_files = changes.size() + (request.file.empty() ? 0 : 1);
  for (Json &change : ReadChanges(request)) changes.push_back(std::move(change));
  const std::optional<double> unit_interval_s = UnitIntervalOf(changes);
  if (!request.rate && !unit_interval_s) {
    throw Failure(ExitCode::kWrongUsage, "the nominal bit rate is not known",
                  "--rate 8e9, or dTargetUI in the settings");
  }
  changes.insert(changes.begin() + static_cast<std::ptrdiff_t>(from_files),
                 EqualiserSettings(request.equalisers,
                                   unit_interval_s ? 1 / *unit_interval_s : *request.rate));
  if (!request.dump_path.empty()) {
    CheckDumpFile(request.dump_path);
    changes.push_back({{"pcParameterDumpFile", request.dump_path}});
  }
  Json document = ApplyChanges(
      kRunSettingsType,
      BuiltInSettings(request.rate ? *request.rate : 1 / *unit_interval_s, request.kind), changes);
  RunSettings{document};  // for what no single field tells, such as the shape of a template
  return document;
}

}  // namespace app
