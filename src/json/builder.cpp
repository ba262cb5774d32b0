#include "json/builder.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "json/tokens.h"

namespace json::detail {
namespace {

constexpr std::size_t kUsualDepth = 32;
constexpr std::size_t kUsualOpenMembers = 32;
constexpr std::size_t kUsualOpenElements = 16;

// Up to this size comparing every name with every other is cheaper than sorting.
constexpr std::size_t kFewNames = 16;

bool hasRepeatedName(const std::vector<Object::Member>& members) {
  if (members.size() <= kFewNames) {
    for (auto later = members.begin(); later != members.end(); ++later) {
      const auto isSame = [later](const Object::Member& earlier) { return earlier.name == later->name; };
      if (std::any_of(members.begin(), later, isSame)) return true;
    }
    return false;
  }
  std::vector<std::string_view> names;
  names.reserve(members.size());
  for (const Object::Member& member : members) {
    names.push_back(member.name);
  }
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) != names.end();
}

// Moves the last elements of a stack into a container's node.
template <typename Value>
void moveTop(std::pmr::vector<Value>& stack, std::size_t size, std::vector<Value>& target) {
  const auto first = stack.end() - static_cast<std::ptrdiff_t>(size);
  target.assign(std::make_move_iterator(first), std::make_move_iterator(stack.end()));
  stack.erase(first, stack.end());
}

bool reject(DocumentBuilder::Error& error) {
  error = boost::json::make_error_code(boost::json::error::exception);
  return false;
}

}  // namespace

DocumentBuilder::DocumentBuilder()
    : mMemory(mBuffer.data(), mBuffer.size()), mLevels(&mMemory), mMembers(&mMemory), mElements(&mMemory) {
  mLevels.reserve(kUsualDepth);
  mMembers.reserve(kUsualOpenMembers);
  mElements.reserve(kUsualOpenElements);
}

bool DocumentBuilder::on_object_begin(Error&) {
  mLevels.push_back(Level::kObject);
  return true;
}

bool DocumentBuilder::on_object_end(std::size_t size, Error& error) {
  Object object;
  if (size > 0) {
    std::vector<Object::Member>& members = Access::node(object).write();
    moveTop(mMembers, size, members);
    if (hasRepeatedName(members)) return reject(error);
  }
  mLevels.pop_back();
  add(std::move(object));
  return true;
}

bool DocumentBuilder::on_array_begin(Error&) {
  mLevels.push_back(Level::kArray);
  return true;
}

bool DocumentBuilder::on_array_end(std::size_t size, Error&) {
  Array array;
  if (size > 0) moveTop(mElements, size, Access::node(array).write());
  mLevels.pop_back();
  add(std::move(array));
  return true;
}

bool DocumentBuilder::on_key(Text rest, std::size_t, Error&) {
  takeText(rest, mMembers.emplace_back().name);
  return true;
}

bool DocumentBuilder::on_string(Text rest, std::size_t, Error&) {
  String string;
  if (!mParts.empty() || !rest.empty()) takeText(rest, Access::node(string).write());
  add(std::move(string));
  return true;
}

bool DocumentBuilder::on_int64(std::int64_t value, Text text, Error&) {
  // No integer holds the sign of zero.
  const bool isNegativeZero = value == 0 && text.front() == '-';
  add(Number(isNegativeZero ? -0.0 : static_cast<double>(value)));
  return true;
}

bool DocumentBuilder::on_uint64(std::uint64_t value, Text, Error&) {
  add(Number(static_cast<double>(value)));
  return true;
}

bool DocumentBuilder::on_double(double, Text text, Error& error) {
  // The parser's own value may be off by a unit in the last place, and does not tell a number that is too large.
  const std::optional<double> value = toNumber({text.data(), text.size()});
  if (!value) return reject(error);
  add(Number(*value));
  return true;
}

bool DocumentBuilder::on_bool(bool value, Error&) {
  add(Boolean(value));
  return true;
}

bool DocumentBuilder::on_null(Error&) {
  add(Null());
  return true;
}

bool DocumentBuilder::addPart(Text part) {
  mParts.append(part.data(), part.size());
  return true;
}

void DocumentBuilder::takeText(Text rest, std::string& text) {
  if (mParts.empty()) {
    text.assign(rest.data(), rest.size());
  } else {
    mParts.append(rest.data(), rest.size());
    text = std::exchange(mParts, std::string());
  }
}

void DocumentBuilder::add(UnknownElement&& value) {
  if (mLevels.empty()) {
    mDocument = std::move(value);
  } else if (mLevels.back() == Level::kObject) {
    mMembers.back().element = std::move(value);
  } else {
    mElements.push_back(std::move(value));
  }
}

}  // namespace json::detail
