#pragma once

#include <string_view>

namespace host {

class Routes;

/// The description of every resource, in OpenAPI 3.1: openapi.json of this folder.
std::string_view openApiDocument();

/// Serves it as /openapi.json.
void addOpenApi(Routes& routes);

}  // namespace host
