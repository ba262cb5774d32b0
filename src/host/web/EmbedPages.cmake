# cmake -DOUTPUT=<file.cpp> -DFOLDER=<folder> "-DFILES=a;b" -P EmbedPages.cmake
# Writes a source that holds the files of the web page, each with its type.

set(type_html "text/html; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_svg "image/svg+xml")

set(arrays "")
set(entries "")
set(number 0)
foreach(name IN LISTS FILES)
  file(READ "${FOLDER}/${name}" bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  # The compiler is slow with lines of any length.
  string(REGEX REPLACE "((0x..,){24})" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE ".*\\." "" extension "${name}")
  if(NOT DEFINED type_${extension})
    message(FATAL_ERROR "${name} has no content type: name one in EmbedPages.cmake")
  endif()
  set(path "/web/${name}")
  if(name STREQUAL "index.html")
    set(path "/")
  endif()
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {\n${bytes}};\n")
  string(APPEND entries "      {\"${path}\", \"${type_${extension}}\", text(kFile${number})},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE "${OUTPUT}" "// Made by the build from the files of the web page.
#include <cstddef>

#include \"host/web/Pages.h\"

namespace host {
namespace {

template <std::size_t kSize>
std::string_view text(const unsigned char (&bytes)[kSize]) {
  return {reinterpret_cast<const char*>(bytes), kSize};
}

${arrays}
}  // namespace

const std::vector<PageFile>& pageFiles() {
  static const std::vector<PageFile> kFiles{
${entries}  };
  return kFiles;
}

}  // namespace host
")
