#pragma once

#include <string_view>
#include <vector>

#include "host/http/Routes.h"

namespace host {

/// A file of the web page, held in the program.
struct PageFile {
  std::string_view path;         ///< "/" or "/web/NAME"
  std::string_view contentType;  ///< with its charset
  std::string_view contents;
};

/// The files that the build has put into the program.
const std::vector<PageFile>& pageFiles();

/// The file as an answer. A browser may keep it, and asks each time whether it still holds.
Answer pageAnswer(const PageFile& file);

/// Has the files of the web page served. They hold no data, so that anybody may read them.
void addPages(Routes& routes);

}  // namespace host
