#pragma once

#include "framework/http/HTTPCommand.h"

namespace plugins {
class BasePluginProxy;
}

namespace launcher {

/// Has the proxy make a plug-in object for a command that was matched with one of its resources, and runs it. What is
/// thrown becomes a status with its block; the reasons of what nobody meant for clients only go to the log.
void runPlugin(plugins::BasePluginProxy& proxy, http::HTTPCommand& command);

}  // namespace launcher
