# Writes the linker's version script from the public header: what leaves the library is what the
# header declares with VOMO_API, and nothing else.
# Usage: cmake -DHEADER=... -DOUTPUT=... -P ExportMap.cmake
file(STRINGS ${HEADER} lines REGEX "^VOMO_API ")
set(map "{\n  global:\n")
foreach(line IN LISTS lines)
  string(REGEX MATCH "([A-Za-z_0-9]+)\\(" call "${line}")
  string(APPEND map "    ${CMAKE_MATCH_1};\n")
endforeach()
string(APPEND map "  local: *;\n};\n")
file(WRITE ${OUTPUT} "${map}")
