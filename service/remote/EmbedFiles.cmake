# Writes OUTPUT, a C++ source with FILES in it: remote::FindPageFile().
set(types html "text/html" js "text/javascript" css "text/css" svg "image/svg+xml")

set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  file(READ "${file}" bytes HEX)
  string(LENGTH "${bytes}" digits)
  math(EXPR length "${digits} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX REPLACE "[^.]*\\." "" extension "${name}")
  list(FIND types "${extension}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "${name}: no content type is known for .${extension}")
  endif()
  math(EXPR found "${found} + 1")
  list(GET types ${found} type)
  string(APPEND arrays "constexpr char kFile${number}[] = {${bytes}'\\0'};\n")
  string(APPEND rows "    {\"${name}\", \"${type}; charset=utf-8\", {kFile${number}, ${length}}},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE "${OUTPUT}" "#include \"service/remote/PageFiles.h\"

namespace remote {

namespace {

${arrays}
constexpr PageFile kFiles[] = {
${rows}};

}  // namespace

const PageFile* FindPageFile(std::string_view name) {
  for (const PageFile& file : kFiles) {
    if (file.name == name) return &file;
  }
  return nullptr;
}

}  // namespace remote
")
