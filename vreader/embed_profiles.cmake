# Writes OUTPUT, a C++ file with every file below DIRECTORY, so that the program needs no files.
# cmake -DDIRECTORY=... -DOUTPUT=... -P embed_profiles.cmake
file(GLOB_RECURSE files RELATIVE ${DIRECTORY} ${DIRECTORY}/*.json)
list(SORT files)
set(arrays "")
set(rows "")
set(count 0)
foreach(file IN LISTS files)
    file(READ ${DIRECTORY}/${file} hex HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${hex}")
    string(APPEND arrays "const char kFile${count}[] = {${bytes} 0};\n")
    string(APPEND rows "    {\"${file}\", kFile${count}, sizeof kFile${count} - 1},\n")
    math(EXPR count "${count} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"vreader/embedded_files.h\"

namespace vreader
{

namespace
{

${arrays}
} // namespace

extern const EmbeddedFile kEmbeddedFiles[] = {
${rows}    {nullptr, nullptr, 0}};
extern const size_t kEmbeddedFileCount = ${count};

} // namespace vreader
")
