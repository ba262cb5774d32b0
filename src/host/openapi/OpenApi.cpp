#include "host/openapi/OpenApi.h"

#include <string>

#include "host/http/Routes.h"

namespace host {

void addOpenApi(Routes& routes) {
  routes.add("GET", "/openapi.json", [](const ClientRequest&, const Service::Done& done) {
    Answer answer;
    answer.body = openApiDocument();
    done(std::move(answer));
  });
}

}  // namespace host
