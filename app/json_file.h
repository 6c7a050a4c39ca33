// JSON that the user has written.
#ifndef VOMO_APP_JSON_FILE_H
#define VOMO_APP_JSON_FILE_H

#include <string>

#include "record_fields.h"

namespace app {

// Comments are passed over. Throws Failure that calls the file `what` for a file that can't be read
// or is no JSON; advice is for a file that can't be read.
Json ReadJsonFile(const std::string &path, const std::string &what, const std::string &advice);

}  // namespace app

#endif
