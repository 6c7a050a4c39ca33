#include "burst_settings.h"

#include "failure.h"

namespace app {
namespace {

constexpr Choice kKinds[] = {{1, "burst train"}, {2, "pulse-width coded"}};
constexpr Choice kPolarities[] = {{0, "either"}, {1, "negative"}, {2, "positive"}};

#define FIELD(member) APP_FIELD(Record, member)

namespace results {
using Record = VomoLFTestResults;
constexpr Field kFields[] = {
    FIELD(dRiseTimeMax).In("s").From(0),
    FIELD(dFallTimeMax).In("s").From(0),
    FIELD(dPeriodMin).In("s").From(0),
    FIELD(dPeriodMax).In("s").From(0),
    FIELD(dVoltagePPMin).In("V").From(0),
    FIELD(dVoltagePPMax).In("V").From(0),
    FIELD(dAmplitudeMin).In("V"),
    FIELD(dAmplitudeMax).In("V"),
    FIELD(dBurstTimeMin).In("s").From(0),
    FIELD(dBurstTimeMax).In("s").From(0),
    FIELD(dRepeatTimeMin).In("s").From(0),
    FIELD(dRepeatTimeMax).In("s").From(0),
    FIELD(dDutyCycleMin).In("%").From(0),
    FIELD(dDutyCycleMax).In("%").From(0),
    FIELD(dCommonModeMax).In("V").From(0),
    FIELD(dBitDurationMin).From(0),
    FIELD(dBitDurationMax).From(0),
    FIELD(dTransmitRatioMin).From(0),
    FIELD(dTransmitRatioMax).From(0),
    FIELD(dMinorDurationMin).In("s").From(0),
    FIELD(dMinorDurationMax).In("s").From(0),
    FIELD(dDiffDCMin).In("V"),
    FIELD(dDiffDCMax).In("V"),
    FIELD(dPrepareTimeMin).In("s").From(0),
    FIELD(dPrepareTimeMax).In("s").From(0),
};
}  // namespace results

constexpr RecordType kResults = {sizeof(VomoLFTestResults), results::kFields};

namespace settings {
// The fields of the test's parameters stand beside the limits, not in a record of their own.
static_assert(offsetof(BurstSettings, params) == 0);
using Record = VomoLFTestParams;
constexpr Field kFields[] = {
    FIELD(eLFTestType).OneOf(kKinds),
    FIELD(iBurstCount).From(1).To(100'000),
    FIELD(eBurstPolarity).OneOf(kPolarities),
    FIELD(fBurstThreshold).In("V").Above(0).To(4.999),
    FIELD(dIdleTime).In("s").From(0),
    FIELD(fTrimStart).In("s").From(0),
    FIELD(fTrimEnd).In("s").From(0),
    FIELD(ulFilterCount).In("samples"),
    FIELD(dUnitInterval).In("s").Above(0),
    FIELD(iPolaritySampleOffset).In("samples").From(1),
    FIELD(iEdgeSearchSamples).In("samples").From(1),
    FIELD(fLowLevelFraction).From(0).To(1),
    FIELD(fHighLevelFraction).From(0),
    FIELD(iUseTransmitRatio).From(0).To(1),
    FIELD(iMinPeriods).From(1),
    FIELD(iAveragePeriods).From(1),
    APP_FIELD(BurstSettings, sLimits).Holding(kResults),
};
}  // namespace settings

#undef FIELD

// The built-in sets are engineering choices of this program, a place to start from, and not the
// limits of any standard. They suit square waves and bits of 20 ns to 100 ns.
BurstSettings CommonSet(int kind) {
  BurstSettings set;
  VomoLFTestParams &p = set.params;
  p.eLFTestType = kind;
  p.iBurstCount = 5;
  p.fBurstThreshold = 0.1f;
  // Longer than a half period, so that a burst does not end within itself.
  p.dIdleTime = 100e-9;
  p.ulFilterCount = 3;
  // Room for edges this close, a quarter of the shortest half period.
  p.dUnitInterval = 2.5e-9;
  p.iPolaritySampleOffset = 4;
  p.iEdgeSearchSamples = 200;
  p.fLowLevelFraction = 0.2f;
  p.fHighLevelFraction = 0.8f;
  p.iUseTransmitRatio = 1;
  p.iMinPeriods = 3;
  p.iAveragePeriods = 1000;
  VomoLFTestResults &limits = set.sLimits;
  limits.dRiseTimeMax = limits.dFallTimeMax = 4e-9;
  limits.dPeriodMin = 20e-9;
  limits.dPeriodMax = 100e-9;
  return set;
}

BurstSettings TrainSet() {
  BurstSettings set = CommonSet(1);
  // What of the quiet time counts as burst, so that crossings of noise in it don't.
  set.params.fTrimEnd = static_cast<float>(set.params.dIdleTime);
  VomoLFTestResults &limits = set.sLimits;
  limits.dVoltagePPMin = 0.8;
  limits.dVoltagePPMax = 1.2;
  // With the quiet time that ends a burst.
  limits.dBurstTimeMin = 0.7e-6;
  limits.dBurstTimeMax = 1.5e-6;
  limits.dRepeatTimeMin = 6e-6;
  limits.dRepeatTimeMax = 14e-6;
  limits.dDutyCycleMin = 40;
  limits.dDutyCycleMax = 60;
  limits.dCommonModeMax = 0.1;
  return set;
}

BurstSettings CodedSet() {
  BurstSettings set = CommonSet(2);
  VomoLFTestResults &limits = set.sLimits;
  limits.dAmplitudeMin = limits.dDiffDCMin = 0.3;
  limits.dAmplitudeMax = limits.dDiffDCMax = 0.7;
  limits.dBitDurationMin = 0.9;
  limits.dBitDurationMax = 1.1;
  limits.dTransmitRatioMin = 1.5;
  limits.dTransmitRatioMax = 2.7;
  limits.dMinorDurationMin = 5e-9;
  limits.dPrepareTimeMin = 1e-6;
  return set;
}

int KindOf(const BurstSettingsRequest &request, const std::vector<Json> &changes) {
  if (request.kind) return *request.kind;
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    const auto kind = change->find("eLFTestType");
    if (kind != change->end())
      return LoadBurstSettings(Json{{kind.key(), *kind}}).params.eLFTestType;
  }
  throw Failure(ExitCode::kWrongUsage, "the kind of bursts is not known",
                "--kind 1 for a burst train, --kind 2 for pulse-width coded bursts, or eLFTestType "
                "in the settings");
}

}  // namespace

const RecordType kBurstSettingsType = {sizeof(BurstSettings), settings::kFields};
const RecordType kBurstResultsType = kResults;

Json BuiltInBurstSettings(int kind) {
  const BurstSettings set = kind == 1 ? TrainSet() : CodedSet();
  return RecordToJson(kBurstSettingsType, &set);
}

Json ResolveBurstSettings(const BurstSettingsRequest &request) {
  const std::vector<Json> changes = ReadChanges(request);
  const int kind = KindOf(request, changes);
  const Json document = ApplyChanges(kBurstSettingsType, BuiltInBurstSettings(kind), changes);
  if (LoadBurstSettings(document).params.eLFTestType != kind) {
    throw Failure(ExitCode::kWrongUsage, "eLFTestType of the settings is not the kind asked for",
                  "settings of the one kind, without the other's number");
  }
  return document;
}

BurstSettings LoadBurstSettings(const Json &document) {
  BurstSettings settings;
  RecordStorage storage;  // no field is a pointer
  JsonToRecord(kBurstSettingsType, document, "", &settings, &storage);
  return settings;
}

}  // namespace app
