// A filter array from double to float, in the memory that it lies in.
#include <vomo.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

extern "C" VomoStatus VomoCONVERT_FC64_FC32_I(uint32_t ulCount, void *pBuffer) noexcept {
  // A piece is read whole before its floats are written, and they end where it began or before.
  constexpr std::size_t kPiece = 256;
  double wide[kPiece];
  float narrow[kPiece];
  if (pBuffer == nullptr) return Vomo_STATUS_SUCCESS;
  auto *const bytes = static_cast<unsigned char *>(pBuffer);
  const std::size_t count = std::size_t{2} * ulCount;
  for (std::size_t done = 0; done < count; done += kPiece) {
    const std::size_t length = std::min(kPiece, count - done);
    std::memcpy(wide, bytes + done * sizeof(double), length * sizeof(double));
    for (std::size_t k = 0; k < length; ++k) narrow[k] = static_cast<float>(wide[k]);
    std::memcpy(bytes + done * sizeof(float), narrow, length * sizeof(float));
  }
  return Vomo_STATUS_SUCCESS;
}
