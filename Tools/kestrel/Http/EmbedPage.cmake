# cmake -D OUTPUT=X.cpp -D FOLDER=web -P EmbedPage.cmake: the files of a folder as a source, but for
# those that tell people about it.
file(GLOB_RECURSE files RELATIVE ${FOLDER} ${FOLDER}/*)
list(FILTER files EXCLUDE REGEX "README.md$|SHA256SUMS$")
set(arrays "")
set(table "")
set(index 0)
foreach(name ${files})
    file(READ ${FOLDER}/${name} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND arrays "constexpr char file${index}[] = {${bytes}};\n")
    string(APPEND table "    {\"${name}\", {file${index}, sizeof(file${index})}},\n")
    math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"Http/PageFiles.h\"

namespace Tool {

namespace {

${arrays}
constexpr PageFile files[] = {
${table}};

} // namespace

std::span<PageFile const> GetPageFiles() {
    return files;
}

} // namespace Tool
")
