# Writes OUTPUT, a C++ table of the files named in MANIFEST (lines "TYPE<tab>NAME<tab>PATH").
# Each file's bytes are followed by one zero byte that the size does not count, so text
# resources can be handed to C string functions as they are.

file(STRINGS "${MANIFEST}" lines)

set(arrays "")
set(entries "")
set(index 0)
foreach(line IN LISTS lines)
  string(REPLACE "\t" ";" fields "${line}")
  list(GET fields 0 type)
  list(GET fields 1 name)
  list(GET fields 2 path)
  file(SIZE "${path}" size)
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  # Sixteen bytes a line.
  string(REPEAT "0x[0-9a-f][0-9a-f]," 16 row)
  string(REGEX REPLACE "(${row})" "\\1\n" bytes "${bytes}")
  string(APPEND arrays "// ${type} ${name}\nconst unsigned char kData${index}[] = {\n${bytes}0x00};\n\n")
  string(REPLACE "\\" "\\\\" name "${name}")
  string(REPLACE "\"" "\\\"" name "${name}")
  string(APPEND entries "    {\"${type}\", \"${name}\", kData${index}, ${size}},\n")
  math(EXPR index "${index} + 1")
endforeach()

file(WRITE "${OUTPUT}" "// Generated at build time from the files of resources/; do not edit.
#include \"ResourceTable.h\"

namespace {
${arrays}}  // namespace

const ResourceEntry kResourceEntries[] = {
${entries}    {nullptr, nullptr, nullptr, 0},
};
const size_t kResourceEntryCount = ${index};
")
