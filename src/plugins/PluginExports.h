#pragma once

#include <map>

#include "framework/http/RestApi.h"

namespace plugins {
class BasePluginProxy;
}

// What the host looks up by name in a plug-in library. The functions keep their plain names; nothing else of a library
// is visible to the process.

#define SD_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"  // the caller is C++, too; only the name is C's
#endif

/// The plug-in's number.
SD_PLUGIN_EXPORT unsigned int getID();
/// A copy of the registry as it stands at the call.
SD_PLUGIN_EXPORT std::map<const http::RestApi, plugins::BasePluginProxy*> getRegisteredRestApis();

#if defined(__clang__)
#pragma clang diagnostic pop
#endif
