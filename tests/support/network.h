// Four-port networks for the tests, given as functions of frequency.
#ifndef VOMO_TESTS_SUPPORT_NETWORK_H
#define VOMO_TESTS_SUPPORT_NETWORK_H

#include <vomo.h>

#include <complex>
#include <cstdint>
#include <vector>

namespace vomo_test {

struct Network {
  // Points at equal spacing up to the highest frequency; all entries 0.
  Network(uint32_t point_count, double highest_hz)
      : frequencies(point_count + 1), matrices(point_count) {
    for (uint32_t k = 0; k <= point_count; ++k) {
      frequencies[k] = highest_hz * k / point_count;
    }
    record.ulSArrayLength = point_count;
    record.pdSfreq = frequencies.data();
    record.pspSArray = &matrices.data()->entries;
  }
  Network(const Network &) = delete;
  Network &operator=(const Network &) = delete;

  // Response: a complex<double> of the frequency in hertz.
  template <class Response>
  void Set(int row, int column, Response response) {
    for (size_t k = 0; k < matrices.size(); ++k) {
      const std::complex<double> value = response(frequencies[k + 1]);
      matrices[k].entries[row][column] = {static_cast<float>(value.real()),
                                          static_cast<float>(value.imag())};
    }
  }
  // The same from port 1 to port 2 and from port 3 to port 4, and nothing across.
  template <class Response>
  void SetThrough(Response response) {
    Set(0, 1, response);
    Set(2, 3, response);
  }

  struct Matrix {
    VomoComplexFloat entries[4][4] = {};
  };
  std::vector<double> frequencies;
  std::vector<Matrix> matrices;
  VomoSparamData record{};
};

}  // namespace vomo_test

#endif
