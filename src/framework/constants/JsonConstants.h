#pragma once

namespace constants {

/// The key table that host and plug-ins share: member names, fixed values and path words of every JSON document and
/// URI.
struct JsonConstants {
  // The envelope of an answer.
  static constexpr const char* STATUS = "status";
  static constexpr const char* CODE = "code";
  static constexpr const char* DESC = "desc";
  static constexpr const char* COUNT = "count";
  static constexpr const char* VALUE = "value";
  static constexpr const char* VALUE_S = "values";
  static constexpr const char* SUCCESS_CODE = "0";
  static constexpr const char* SUCCESS = "Success";
  static constexpr const char* FAILURE_CODE = "1";
  static constexpr const char* FAILURE = "Failure";

  // A server's record.
  static constexpr const char* PROPERTIES = "properties";
  static constexpr const char* DISPLAY_ID = "displayId";
  static constexpr const char* GID = "gid";
  static constexpr const char* BUILD = "build";
  static constexpr const char* AGENTS = "agents";
  static constexpr const char* ID = "id";
  static constexpr const char* NAME = "name";
  static constexpr const char* LISTEN = "listen";
  static constexpr const char* ADDRESS = "address";
  static constexpr const char* PORT = "port";
  static constexpr const char* SCHEME = "scheme";
  static constexpr const char* OS = "os";
  static constexpr const char* NETWORK = "network";
  static constexpr const char* NICS = "nics";
  static constexpr const char* MAC = "mac";
  static constexpr const char* IP_V4 = "ipV4";
  static constexpr const char* IP_V6 = "ipV6";
  static constexpr const char* LAST_COMMUNICATED_IP = "lastCommunicatedIp";
  static constexpr const char* HEALTH = "health";
  static constexpr const char* STATE = "state";
  static constexpr const char* IS_PIVOT = "isPivot";
  static constexpr const char* IS_LEGACY_SERVER = "isLegacyServer";
  static constexpr const char* LAST_UPDATED_COUNTER = "lastUpdatedCounter";
  static constexpr const char* SERVER_IP = "serverIp";

  // Links between resources.
  static constexpr const char* SELF = "self";
  static constexpr const char* UPON = "upon";
  static constexpr const char* URI = "uri";
  static constexpr const char* URIS = "uris";
  static constexpr const char* SERVER = "server";
  static constexpr const char* SYSTEM_DETAIL = "systemDetail";

  // Operations.
  static constexpr const char* TYPE = "type";
  static constexpr const char* SUB_TYPE = "subType";
  static constexpr const char* TYPE_OPERATION = "operation";
  static constexpr const char* TYPE_SERVER = "server";
  static constexpr const char* TYPE_DISCOVERY = "discovery";
  static constexpr const char* NONE = "none";
  static constexpr const char* ACTION = "action";
  static constexpr const char* ACTION_ADD = "ADD";
  static constexpr const char* ACTION_REMOVE = "REMOVE";
  static constexpr const char* ACTION_SEARCH = "SEARCH";
  static constexpr const char* IS_ALLOWED = "isAllowed";
  static constexpr const char* IS_REBOOT_REQUIRED = "isRebootRequired";
  static constexpr const char* IS_PROGRESS_AVAILABLE = "isProgressAvailable";

  // Path words; those of a server's links are member names, too.
  static constexpr const char* API_VERSION_1 = "1.0";
  static constexpr const char* SERVERS = "servers";
  static constexpr const char* SERVER_DETAIL = "serverDetail";
  static constexpr const char* LOGIN = "login";
  static constexpr const char* VERSION = "version";
  static constexpr const char* VERSIONS = "versions";
  static constexpr const char* USERS = "users";
};

}  // namespace constants
