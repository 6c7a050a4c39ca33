#include "file_hash.h"

#include <fmt/format.h>
#include <nettle/sha2.h>

#include <array>
#include <fstream>
#include <vector>

#include "failure.h"

namespace app {

std::string FileSha256(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> block(1 << 20);
  sha256_ctx context;
  sha256_init(&context);
  while (file) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    sha256_update(&context, static_cast<size_t>(file.gcount()),
                  reinterpret_cast<const uint8_t *>(block.data()));
  }
  if (!file.eof()) throw Failure(ExitCode::kUnreadable, "cannot read " + path);
  std::array<uint8_t, SHA256_DIGEST_SIZE> digest;
  sha256_digest(&context, digest.size(), digest.data());
  std::string text;
  for (const uint8_t byte : digest) text += fmt::format("{:02x}", byte);
  return text;
}

}  // namespace app
