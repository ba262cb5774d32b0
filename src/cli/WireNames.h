#pragma once

#include <string_view>

/// The words of the servers' JSON documents, as any client has to know them (docs/rest-api.md).
namespace cli::wire {

inline constexpr std::string_view kStatus = "status";
inline constexpr std::string_view kCode = "code";
inline constexpr std::string_view kDesc = "desc";
inline constexpr std::string_view kValue = "value";
inline constexpr std::string_view kValues = "values";

inline constexpr std::string_view kProperties = "properties";
inline constexpr std::string_view kDisplayId = "displayId";
inline constexpr std::string_view kBuild = "build";
inline constexpr std::string_view kAgents = "agents";
inline constexpr std::string_view kName = "name";
inline constexpr std::string_view kListen = "listen";
inline constexpr std::string_view kAddress = "address";
inline constexpr std::string_view kPort = "port";
inline constexpr std::string_view kScheme = "scheme";
inline constexpr std::string_view kOs = "os";
inline constexpr std::string_view kVersion = "version";
inline constexpr std::string_view kNetwork = "network";
inline constexpr std::string_view kNics = "nics";
inline constexpr std::string_view kMac = "mac";
inline constexpr std::string_view kIpV4 = "ipV4";
inline constexpr std::string_view kIpV6 = "ipV6";
inline constexpr std::string_view kLastCommunicatedIp = "lastCommunicatedIp";
inline constexpr std::string_view kHealth = "health";
inline constexpr std::string_view kState = "state";
inline constexpr std::string_view kIsPivot = "isPivot";
inline constexpr std::string_view kIsManual = "isManual";
inline constexpr std::string_view kIsReachable = "isReachable";

inline constexpr std::string_view kAction = "action";
inline constexpr std::string_view kParameters = "parameters";
inline constexpr std::string_view kServer = "server";

inline constexpr std::string_view kUser = "user";
inline constexpr std::string_view kPassword = "password";
inline constexpr std::string_view kRole = "role";
inline constexpr std::string_view kCsrfToken = "csrfToken";
inline constexpr std::string_view kToken = "token";
inline constexpr std::string_view kSetup = "setup";
inline constexpr std::string_view kCreated = "created";
inline constexpr std::string_view kLastUsed = "lastUsed";

inline constexpr std::string_view kFingerprint = "fingerprint";
inline constexpr std::string_view kSince = "since";
inline constexpr std::string_view kLastSeen = "lastSeen";
inline constexpr std::string_view kOffered = "offered";

inline constexpr std::string_view kSources = "sources";
inline constexpr std::string_view kReason = "reason";
inline constexpr std::string_view kVerified = "verified";
inline constexpr std::string_view kChanged = "changed";
inline constexpr std::string_view kRemoved = "removed";
inline constexpr std::string_view kKey = "key";
inline constexpr std::string_view kRecord = "record";

}  // namespace cli::wire
