// SHA-256 of a file.
#ifndef VOMO_APP_FILE_HASH_H
#define VOMO_APP_FILE_HASH_H

#include <string>

namespace app {

// In lower-case hexadecimal; throws Failure if the file can't be read.
std::string FileSha256(const std::string &path);

}  // namespace app

#endif
