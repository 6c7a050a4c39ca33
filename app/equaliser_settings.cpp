#include "equaliser_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "json_file.h"

namespace app {
namespace {

constexpr int kMostTaps = 16;
constexpr double kMostTapV = 1;
constexpr int kPersistence = 3;  // samples, as without a DFE

double Rounded(double value) {
  return std::stod(fmt::format("{:.4g}", value));
}

Json CtleSetting(const Json &numbers) {
  return {{"fAdc", numbers[0]}, {"fFz", numbers[1]}, {"fFp1", numbers[2]}, {"fFp2", numbers[3]}};
}

// Numbers between commas; discarded if it is anything else.
Json ParseNumbers(const std::string &text) {
  Json list = Json::parse("[" + text + "]", nullptr, /*allow_exceptions=*/false);
  const bool numbers = !list.is_discarded() &&
                       std::all_of(list.begin(), list.end(), [](auto &v) { return v.is_number(); });
  return numbers ? list : Json(Json::value_t::discarded);
}

// A list of settings, or settings of a run with such a list in them.
Json FamilyOfFile(const std::string &path) {
  Json document = ReadJsonFile(path, "the CTLE family", "built-in, or gain,zero,pole,pole");
  if (document.is_object() && document.contains("psCTLEFilterParams")) {
    document = Json(document["psCTLEFilterParams"]);
  }
  if (document.is_array() && !document.empty()) return document;
  throw Failure(ExitCode::kWrongUsage,
                fmt::format("the CTLE family {}: expected a list of settings", path),
                R"([{"fAdc": 0.5, "fFz": 1e9, "fFp1": 2e9, "fFp2": 8e9}])");
}

Json CtleSettings(const std::string &argument, double rate) {
  if (argument == "built-in") return BuiltInCtleFamily(rate);
  if (argument.find(',') == std::string::npos) return FamilyOfFile(argument);
  const Json numbers = ParseNumbers(argument);
  if (!numbers.is_discarded() && numbers.size() == 4) return Json::array({CtleSetting(numbers)});
  throw Failure(ExitCode::kWrongUsage,
                fmt::format("--ctle {}: expected four numbers: the gain at DC, the frequencies of "
                            "the zero and of two poles (Hz)",
                            argument),
                "--ctle 0.5,1e9,2e9,8e9");
}

Json Repeated(double value) {
  return std::vector<double>(kMostTaps, value);
}

// In force over a whole run, with a trial of as many unit intervals as a CTLE has.
Json DfeSettings(const std::string &argument, double rate) {
  const bool estimated = argument == "auto";
  const Json given = estimated ? Json::array({0}) : ParseNumbers(argument);
  const bool good = !given.is_discarded() && !given.empty() && given.size() <= kMostTaps &&
                    std::all_of(given.begin(), given.end(), [](const Json &tap) {
                      return std::abs(tap.get<double>()) <= kMostTapV;
                    });
  if (!good) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("--dfe {}: expected up to {} taps in volts, from -{} to {}", argument,
                              kMostTaps, kMostTapV, kMostTapV),
                  "--dfe 0.05,-0.01, or --dfe auto to have one tap estimated from the signal");
  }
  Json taps = Repeated(0);
  std::copy(given.begin(), given.end(), taps.begin());
  const Json record = {{"dUnitInterval", 1 / rate},       {"afTapMin", Repeated(-kMostTapV)},
                       {"afTapMax", Repeated(kMostTapV)}, {"afDFETapValues", taps},
                       {"iDFETapCount", given.size()},    {"iDFEComputeTaps", estimated ? 1 : 0},
                       {"iPtsAboveThresh", kPersistence}, {"iUICount", kTrialUi},
                       {"eOptValue", "OPT_EYE_WIDTH"},    {"eHeightType", "Vomo_FIND_AVG"}};
  // A tap that is estimated once would stay in force for all settings tried after it.
  return {{"psDFEFilterParams", record}, {"iCombineCTLE_DFE_Optimize", estimated ? 0 : 1}};
}

}  // namespace

Json BuiltInCtleFamily(double rate) {
  Json family = Json::array();
  for (int decibels = 1; decibels <= 12; ++decibels) {
    const double gain = std::pow(10, -decibels / 20.0), pole = rate / 4;
    family.push_back(CtleSetting({Rounded(gain), Rounded(gain * pole), pole, rate}));
  }
  return family;
}

Json EqualiserSettings(const EqualiserRequest &request, double rate) {
  Json settings = Json::object();
  if (!request.dfe.empty()) settings = DfeSettings(request.dfe, rate);
  for (const std::string &argument : request.ctle) {
    for (const Json &setting : CtleSettings(argument, rate)) {
      settings["psCTLEFilterParams"].push_back(setting);
    }
  }
  return settings;
}

}  // namespace app
