// A process that uses the library as it is told: commands by lines on standard input, their fields parted by tabs; one
// line of JSON on standard output for each, and one for each message of the log as it comes. A field that is not there
// is passed as a null pointer. Ends with its input.

#include <charconv>
#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <slp.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += escape;
    } else {
      out += c;
    }
  }
  return out + '"';
}

std::string listOf(const std::vector<int>& numbers) {
  std::string out;
  for (const int number : numbers)
    out += (out.empty() ? "" : ",") + std::to_string(number);
  return "[" + out + "]";
}

/// Whole lines, whichever thread writes them.
void writeLine(const std::string& text) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void logLine(int level, const char* text, void*) {
  writeLine("{\"log\":" + std::to_string(level) + ",\"text\":" + quoted(text) + "}");
}

struct Fields {
  std::vector<std::string> values;

  const char* at(std::size_t index) const { return index < values.size() ? values[index].c_str() : nullptr; }
  unsigned short number(std::size_t index) const {
    unsigned short value = 0;
    if (index < values.size()) {
      const std::string& text = values[index];
      std::from_chars(text.data(), text.data() + text.size(), value);
    }
    return value;
  }
};

Fields split(const std::string& line) {
  Fields fields;
  std::size_t begin = 0;
  for (std::size_t end = line.find('\t'); end != std::string::npos; end = line.find('\t', begin)) {
    fields.values.push_back(line.substr(begin, end - begin));
    begin = end + 1;
  }
  fields.values.push_back(line.substr(begin));
  return fields;
}

/// What the callbacks of one call were given.
struct Calls {
  std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
  std::string found;  ///< of JSON: [text, lifetime, milliseconds since the call began] each
  int lastCalls = 0;
  std::vector<int> errors;   ///< that a search handed out
  std::vector<int> reports;  ///< on a registration

  double elapsed() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
  }
  void add(const char* text, unsigned lifetime, SLPError error) {
    if (error == SLP_LAST_CALL) {
      ++lastCalls;
    } else if (error != SLP_OK) {
      errors.push_back(error);
    } else {
      found += found.empty() ? "[" : ",[";
      found += quoted(text != nullptr ? text : "(null)") + "," + std::to_string(lifetime) + "," +
               std::to_string(elapsed()) + "]";
    }
  }
  std::string json(SLPError result) const {
    return "{\"result\":" + std::to_string(result) + ",\"ms\":" + std::to_string(elapsed()) +
           ",\"lastCalls\":" + std::to_string(lastCalls) + ",\"errors\":" + listOf(errors) +
           ",\"reports\":" + listOf(reports) + ",\"found\":[" + found + "]}";
  }
};

SLPBoolean onUrl(SLPHandle, const char* url, unsigned short lifetime, SLPError error, void* calls) {
  static_cast<Calls*>(calls)->add(url, lifetime, error);
  return SLP_TRUE;
}

SLPBoolean onText(SLPHandle, const char* text, SLPError error, void* calls) {
  static_cast<Calls*>(calls)->add(text, 0, error);
  return SLP_TRUE;
}

void onReport(SLPHandle, SLPError error, void* calls) {
  static_cast<Calls*>(calls)->reports.push_back(error);
}

using Command = std::function<SLPError(SLPHandle, const Fields&, Calls&)>;

SLPError getProperty(SLPHandle, const Fields& in, Calls& calls) {
  const char* value = SLPGetProperty(in.at(1));
  if (value != nullptr) calls.add(value, 0, SLP_OK);
  return SLP_OK;
}

SLPError findScopes(SLPHandle handle, const Fields&, Calls& calls) {
  char* scopes = nullptr;
  const SLPError result = SLPFindScopes(handle, &scopes);
  if (result == SLP_OK) calls.add(scopes, 0, SLP_OK);
  SLPFree(scopes);
  return result;
}

std::map<std::string, Command> makeCommands() {
  std::map<std::string, Command> commands;
  commands["set"] = [](SLPHandle, const Fields& in, Calls&) {
    SLPSetProperty(in.at(1), in.at(2));
    return SLP_OK;
  };
  commands["get"] = getProperty;
  commands["scopes"] = findScopes;
  commands["host"] = [](SLPHandle handle, const Fields& in, Calls&) { return SLPAssociateIP(handle, in.at(1)); };
  commands["interfaces"] = [](SLPHandle handle, const Fields& in, Calls&) {
    return SLPAssociateIFList(handle, in.at(1));
  };
  // URL, lifetime, attributes, type
  commands["register"] = [](SLPHandle handle, const Fields& in, Calls& calls) {
    return SLPReg(handle, in.at(1), in.number(2), in.at(4), in.at(3), SLP_TRUE, onReport, &calls);
  };
  commands["deregister"] = [](SLPHandle handle, const Fields& in, Calls& calls) {
    return SLPDereg(handle, in.at(1), onReport, &calls);
  };
  // type, scopes, filter
  commands["find"] = [](SLPHandle handle, const Fields& in, Calls& calls) {
    return SLPFindSrvs(handle, in.at(1), in.at(2), in.at(3), onUrl, &calls);
  };
  // URL or type, scopes, tags
  commands["attributes"] = [](SLPHandle handle, const Fields& in, Calls& calls) {
    return SLPFindAttrs(handle, in.at(1), in.at(2), in.at(3), onText, &calls);
  };
  // naming authority, scopes
  commands["types"] = [](SLPHandle handle, const Fields& in, Calls& calls) {
    return SLPFindSrvTypes(handle, in.at(1), in.at(2), onText, &calls);
  };
  return commands;
}

}  // namespace

int main() {
  SLPSetLog(logLine, nullptr);
  SLPHandle handle = nullptr;
  const SLPError opened = SLPOpen("en", SLP_FALSE, &handle);
  writeLine("{\"opened\":" + std::to_string(opened) + "}");
  if (opened != SLP_OK) return 1;

  const auto commands = makeCommands();
  std::string line;
  while (std::getline(std::cin, line)) {
    const Fields fields = split(line);
    const auto command = commands.find(fields.values[0]);
    if (command == commands.end()) return 2;
    Calls calls;
    const SLPError result = command->second(handle, fields, calls);
    writeLine(calls.json(result));
  }
  SLPClose(handle);
  return 0;
}
