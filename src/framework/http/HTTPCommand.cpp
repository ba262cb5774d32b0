#include "framework/http/HTTPCommand.h"

namespace http {

HTTPCommand::~HTTPCommand() = default;

}  // namespace http
