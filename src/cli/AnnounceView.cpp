#include "cli/AnnounceView.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "cli/Text.h"
#include "cli/WireNames.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"

namespace cli {
namespace {

using heartbeat::AnnounceRecord;

// Columns, in characters. Lines are printed as they come, so that a longer text only shifts its own line.
constexpr std::size_t kTimeWidth = 24;
constexpr std::size_t kAddressWidth = 15;
constexpr std::size_t kKindWidth = 10;
constexpr std::size_t kUrlWidth = 49;
constexpr std::size_t kLifetimeWidth = 8;

/// "2026-01-31T23:59:59.999Z"
std::string timeText(std::chrono::system_clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time - seconds);
  const std::time_t count = std::chrono::system_clock::to_time_t(seconds);
  std::tm parts{};
  gmtime_r(&count, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 8> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(milliseconds.count()));
  return std::string(text.data()) + fraction.data();
}

std::string kindText(std::int32_t kind) {
  switch (kind) {
    case AnnounceRecord::kJoin:
      return "join";
    case AnnounceRecord::kRegister:
      return "register";
    case AnnounceRecord::kDeregister:
      return "deregister";
    default:
      return "unknown " + std::to_string(kind);
  }
}

/// As they were before double quotes were replaced for the record.
std::string originalAttributes(std::string_view announced) {
  std::string attributes(announced);
  std::replace(attributes.begin(), attributes.end(), '!', '"');
  return attributes;
}

struct Identifier {
  std::string text;  ///< "" when the attributes tell none
  bool isCut = false;
  bool isUnreadable = false;  ///< though it is not cut
};

Identifier identifierIn(std::string_view attributes) {
  constexpr std::string_view kServerTerm = "(server=";
  const std::size_t term = attributes.find(kServerTerm);
  if (term == std::string_view::npos) return {};
  const std::string_view value = attributes.substr(term + kServerTerm.size());
  try {
    json::Object details;
    json::Reader::Read(details, value.substr(0, value.find(')')));
    return {json::textAt(details, {wire::kProperties, wire::kDisplayId})};
  } catch (const json::Exception&) {
    const bool isCut = attributes.size() >= heartbeat::kMaxAnnounceAttributes;
    return {"", isCut, !isCut};
  }
}

/// The brackets tell it from an identifier, which has none when it comes from a server of ours.
std::string identifierText(const Identifier& identifier) {
  if (identifier.isCut) return "(cut)";
  return identifier.isUnreadable ? "(unreadable)" : identifier.text;
}

std::string notARecord(std::size_t size) {
  return "not a record, " + std::to_string(size) + " bytes";
}

/// In a column of at least that width, and of 64 at most.
std::string cell(std::string_view text, std::size_t width) {
  constexpr std::size_t kWidest = 64;
  std::string result = text.empty() ? "-" : shorten(neutralise(text), kWidest);
  const std::size_t used = displayWidth(result);
  if (used < width) result.append(width - used, ' ');
  return result + "  ";
}

json::String jsonOf(std::string_view text) {
  return json::String(std::string(text));
}

}  // namespace

std::string announceTitle() {
  return cell("TIME", kTimeWidth) + cell("FROM", kAddressWidth) + cell("KIND", kKindWidth) +
         cell("ADDRESS", kAddressWidth) + cell("URL", kUrlWidth) + cell("LIFETIME", kLifetimeWidth) + "ID\n";
}

std::string announceLine(const AnnounceDatagram& datagram) {
  const std::string start = timeText(datagram.time) + "  " + cell(datagram.source, kAddressWidth);
  if (!datagram.record) return start + notARecord(datagram.size) + "\n";
  const AnnounceRecord& record = *datagram.record;
  const Identifier identifier = identifierIn(originalAttributes(record.attributes));
  std::string line = start + cell(kindText(record.kind), kKindWidth) + cell(record.address, kAddressWidth) +
                     cell(record.url, kUrlWidth) + cell(std::to_string(record.lifetime), kLifetimeWidth) +
                     cell(identifierText(identifier), 0);
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

std::string announceJson(const AnnounceDatagram& datagram) {
  json::Object object;
  object["time"] = jsonOf(timeText(datagram.time));
  object["source"] = jsonOf(datagram.source);
  if (datagram.record) {
    const AnnounceRecord& record = *datagram.record;
    const std::string attributes = originalAttributes(record.attributes);
    const Identifier identifier = identifierIn(attributes);
    object["kind"] = jsonOf(kindText(record.kind));
    object["address"] = jsonOf(record.address);
    object["url"] = jsonOf(record.url);
    object["lifetime"] = json::Number(record.lifetime);
    object["id"] = jsonOf(identifier.text);
    object["isCut"] = json::Boolean(identifier.isCut);
    object["isUnreadable"] = json::Boolean(identifier.isUnreadable);
    object["attributes"] = jsonOf(attributes);
  } else {
    object["kind"] = jsonOf("not a record");
    object["size"] = json::Number(static_cast<double>(datagram.size));
  }
  std::string text;
  json::Writer::Write(object, text);
  return neutraliseJson(text) + "\n";
}

}  // namespace cli
