# Writes OUTPUT, a C++ source defining the array NAME (in vexa::tool) that
# holds the bytes of INPUT and a closing NUL, so that a style sheet or a
# script can be edited as the file it is and still be part of the program.
# Run with cmake -P at build time.
file(READ "${INPUT}" bytes HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
string(REGEX REPLACE "((0x..,){16})" "\\1\n" bytes "${bytes}")
get_filename_component(input_name "${INPUT}" NAME)
file(WRITE "${OUTPUT}.new"
  "// Generated from ${input_name} by embed_file.cmake; edit that file instead.\n"
  "namespace vexa::tool {\n\nextern char const ${NAME}[];\nchar const ${NAME}[] = {\n"
  "${bytes}0x00};\n\n}  // namespace vexa::tool\n")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
