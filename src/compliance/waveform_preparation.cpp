#include "compliance/waveform_preparation.h"

namespace vomo {
namespace {

constexpr int32_t kNoCtle = -1;

// The stages of the preparation, each of which goes on with what the one before has made. The
// caller's waveform is never freed; what a stage makes is, as soon as the next one has replaced it.
class Preparation {
 public:
  Preparation(VomoWaveform *captured, const VomoComplianceParams &parameters,
              VomoComplianceResults &results)
      : current_(captured), parameters_(parameters), results_(results) {}

  VomoStatus MakeDifferential(VomoWaveform *complement);
  VomoStatus Embed(VomoWaveform *complement);
  VomoStatus ApplyCtle(double target_ui_s, uint32_t filter_count);
  VomoStatus ApplyDfe(PreparedSignal &prepared);

  void Deliver(PreparedSignal &prepared) {
    prepared.waveform = current_;
    made_.Deliver(prepared.made.pointer(), prepared.made.handle_out());
  }

 private:
  // make: delivers a new waveform and its handle.
  template <class Make>
  VomoStatus GoOnWith(Make make) {
    Received<VomoWaveform> next;
    const VomoStatus status = make(next.pointer(), next.handle_out());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    made_ = next.Take();
    current_ = made_.get();
    return status;
  }

  VomoWaveform *current_;
  BlockOf<VomoWaveform> made_;
  const VomoComplianceParams &parameters_;
  VomoComplianceResults &results_;
};

// A network takes a pair of single-ended waveforms and gives a differential one. Without a network
// a pair is subtracted; a waveform that is differential already stays.
VomoStatus Preparation::MakeDifferential(VomoWaveform *complement) {
  if (parameters_.psSparamData != nullptr) return Embed(complement);
  if (complement == nullptr) return Vomo_STATUS_SUCCESS;
  return GoOnWith([&](VomoWaveform **out, VomoHandle *handle) {
    return Vomo_CONVERT_SINGLE_TO_DIFF(current_, complement, out, handle);
  });
}

// A differential waveform is split into a pair first.
VomoStatus Preparation::Embed(VomoWaveform *complement) {
  Received<VomoWaveform> positive, negative;
  VomoWaveform *pair[] = {current_, complement};
  if (complement == nullptr) {
    const VomoStatus status =
        VomoCONVERT_WFM_TO_SINGLE_ENDED(current_, positive.pointer(), positive.handle_out(),
                                        negative.pointer(), negative.handle_out());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    pair[0] = positive.get();
    pair[1] = negative.get();
  }
  return GoOnWith([&](VomoWaveform **out, VomoHandle *handle) {
    return VomoAPPLY_SPARAM_TO_WAVEFORM(pair[0], pair[1], parameters_.psSparamData, out, handle);
  });
}

VomoStatus Preparation::ApplyCtle(double target_ui_s, uint32_t filter_count) {
  const VomoComplianceParams &p = parameters_;
  const VomoCTLEParams *family = p.psCTLEFilterParams;
  if (p.iCTLEFilterParamsCount <= 0) {
    results_.iCTLEIndexUsed = kNoCtle;
    return Vomo_STATUS_SUCCESS;
  }
  if (family == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  if (p.iCTLEFilterParamsCount == 1) {
    const VomoStatus status = GoOnWith([&](VomoWaveform **out, VomoHandle *handle) {
      return VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(current_, family->fAdc, family->fFz, family->fFp1,
                                               family->fFp2, out, handle);
    });
    if (!Vomo_STATUS_IS_ERROR(status)) results_.iCTLEIndexUsed = 1;
    return status;
  }
  VomoDFEParams *dfe = p.iCombineCTLE_DFE_Optimize != 0 ? p.psDFEFilterParams : nullptr;
  if (dfe != nullptr) results_.iDFEApplied = 1;
  return GoOnWith([&](VomoWaveform **out, VomoHandle *handle) {
    return VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(
        current_, p.iCTLEFilterParamsCount, family, dfe, target_ui_s, filter_count, p.iCTLEUICount,
        p.fCTLEBeginSampleWindow, p.fCTLEEndSampleWindow, p.eCTLEOpt, p.iAllowNoCTLE,
        &results_.iCTLEIndexUsed, out, handle);
  });
}

// The taps are looked for here unless the choice of the CTLE has found them on its way.
VomoStatus Preparation::ApplyDfe(PreparedSignal &prepared) {
  if (parameters_.psDFEFilterParams == nullptr) {
    results_.iDFEApplied = 0;
    return Vomo_STATUS_SUCCESS;
  }
  const int32_t find_taps = results_.iDFEApplied == 0;
  const VomoStatus status = GoOnWith([&](VomoWaveform **out, VomoHandle *handle) {
    return VomoAPPLY_DFE_FILTER_TO_WAVEFORM(
        current_, parameters_.psDFEFilterParams, find_taps, prepared.crossovers.pointer(),
        prepared.crossovers.handle_out(), &results_.dMinCrossoverInterval, parameters_.psPatChkData,
        prepared.clock.pointer(), prepared.clock.handle_out(), out, handle);
  });
  if (!Vomo_STATUS_IS_ERROR(status)) results_.iDFEApplied = 1;
  return status;
}

}  // namespace

VomoStatus Vomo_PrepareWaveform(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                const VomoComplianceParams *psParameters, double dTargetUI,
                                uint32_t ulStartArgument, VomoComplianceResults *psResults,
                                PreparedSignal *psPrepared) {
  Preparation preparation(psWaveform, *psParameters, *psResults);
  VomoStatus status = preparation.MakeDifferential(psComplement);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  psResults->iDFEApplied = 0;
  status = preparation.ApplyCtle(dTargetUI, ulStartArgument);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = preparation.ApplyDfe(*psPrepared);
  if (!Vomo_STATUS_IS_ERROR(status)) preparation.Deliver(*psPrepared);
  return status;
}

}  // namespace vomo
