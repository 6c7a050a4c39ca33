#include "files/sample_reader.h"

#include <algorithm>
#include <cstring>

namespace vomo {

SampleReader::SampleReader(FileCursor *file, const SampleCoding &coding)
    : file_(file),
      coding_(coding),
      block_samples_(kBlockBytes / std::max(coding.bytes, 1u)),
      block_(kBlockBytes) {}

uint64_t SampleReader::ReadBlock(float *volts, uint64_t count) {
  const uint64_t wanted = count * coding_.bytes;
  const uint64_t read = file_->Read(block_.get(), wanted);
  std::memset(block_.get() + read, 0, wanted - read);
  coding_.convert(coding_, block_.get(), volts, count);
  return coding_.bytes != 0 ? read / coding_.bytes : count;
}

}  // namespace vomo
