#pragma once

#include <string_view>
#include <vector>

#include "host/http/Routes.h"

namespace host {

/// A file of the web page, held in the program.
struct PageFile {
  std::string_view path;         ///< "/" or "/web/NAME"
  std::string_view contentType;  ///< with its charset
  std::string_view entityTag;    ///< with its quotes; another one for other contents
  std::string_view contents;
};

/// The files that the build has put into the program.
const std::vector<PageFile>& pageFiles();

/// Answers a request for a file: with its contents, or with 304 for a client that has them already.
Answer pageAnswer(const PageFile& file, const ClientRequest& request);

/// Has the files of the web page served. They hold no data, so that anybody may read them.
void addPages(Routes& routes);

}  // namespace host
