// Settings of a compliance run for tests: plain values for 8 Gb/s that leave jitter nearly
// unfiltered, so that what is put into a signal can be compared with what is measured.
#ifndef VOMO_TESTS_SUPPORT_RUN_SETTINGS_H
#define VOMO_TESTS_SUPPORT_RUN_SETTINGS_H

#include <vomo.h>

namespace vomo_test {

constexpr double kBitRate = 8e9;
constexpr double kUnitInterval = 1 / kBitRate;
// Q value of a bit error ratio of 1e-12 on a scale that counts the whole probability.
constexpr double kTargetQ = -7.034484;

inline VomoComplianceParams RunSettings() {
  VomoComplianceParams p{};
  p.dTargetUI = kUnitInterval;
  p.eCrossoverTypes = Vomo_CROSSOVERS_RISE_FALL;
  p.ulMinUIForOfficialTest = 1000;
  p.iCTLEFilterParamsCount = 0;
  p.eFilterOrder = BRICK_WALL;
  p.sFilterParams.dFc = 1e6;
  p.sNoiseFloorAlgParams = {3.0f, 5.0f, 200e6, 1e9, 20e6, 50e6, 100e6};
  p.dPointsToTrimPercent = 0.01;
  p.dPDFBinSize = 0.1e-12;
  p.dTargetBERQVal = kTargetQ;
  p.ulRemoveBinsNumPoints = 5;
  p.ulNumPointsToUseInCdfFit = 10;
  return p;
}

}  // namespace vomo_test

#endif
