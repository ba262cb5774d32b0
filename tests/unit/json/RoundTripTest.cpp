#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Boolean;
using json::Null;
using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;

// Documents of every shape, drawn from a seed.
class DocumentGenerator {
 public:
  explicit DocumentGenerator(std::uint64_t seed) : mRandom(seed) {}

  UnknownElement document(int depth) {
    switch (below(depth > 0 ? 8 : 4)) {
      case 0:
        return below(2) == 0 ? UnknownElement(Null()) : UnknownElement(Boolean(below(2) == 0));
      case 1:
        return Number(integer());
      case 2:
        return Number(anyFinite());
      case 3:
        return String(text());
      case 4:
      case 5:
        return array(depth);
      default:
        return object(depth);
    }
  }

 private:
  std::uint64_t below(std::uint64_t limit) { return mRandom() % limit; }

  double integer() {
    const auto magnitude = static_cast<double>(mRandom() >> below(64));
    return below(2) == 0 ? magnitude : -magnitude;
  }

  double anyFinite() {
    for (;;) {
      const auto value = std::bit_cast<double>(mRandom());
      if (std::isfinite(value)) return value;
    }
  }

  std::string text() {
    std::string result;
    for (std::uint64_t length = below(30); length > 0; --length) {
      static const std::string kPieces[] = {
          "\"", "\\", "(", ")", "!", "/", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", std::string(1, '\0')};
      if (below(4) == 0) {
        result += kPieces[below(std::size(kPieces))];
      } else {
        result.push_back(static_cast<char>(below(128)));
      }
    }
    return result;
  }

  Array array(int depth) {
    Array result;
    for (std::uint64_t count = below(6); count > 0; --count) {
      result.Insert(document(depth - 1));
    }
    return result;
  }

  Object object(int depth) {
    Object result;
    for (std::uint64_t count = below(below(20) == 0 ? 60 : 6); count > 0; --count) {
      result[text()] = document(depth - 1);
    }
    return result;
  }

  std::mt19937_64 mRandom;
};

TEST(JsonRoundTrip, GivesBackAnEqualDocument) {
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    const UnknownElement document = DocumentGenerator(seed).document(5);
    const std::string text = written(document);
    const UnknownElement back = parsed(text);
    ASSERT_TRUE(back == document) << "seed " << seed << ": " << text;
    ASSERT_EQ(written(back), text) << "seed " << seed;
    ASSERT_TRUE(parsed(written(document, true)) == document) << "seed " << seed;
    ASSERT_EQ(text.find_first_of("()!\n\t"), std::string::npos) << "seed " << seed;
  }
}

TEST(JsonRoundTrip, GivesBackEveryKindOfNumber) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 100'000; ++round) {
    const auto value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    Number back;
    json::Reader::Read(back, written(Number(value)));
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back.Value()), std::bit_cast<std::uint64_t>(value)) << value;
  }
}

// Compares a document under random changes with copies that were taken of it on the way, and with their texts.
TEST(JsonRoundTrip, OfCopiesTakenOnTheWayIsUntouchedByLaterChanges) {
  std::mt19937_64 random(2);
  UnknownElement document = parsed(R"({"a":[1,{"b":"x"}],"c":{"d":{}}})");
  UnknownElement* held = &document;
  std::vector<std::pair<UnknownElement, std::string>> taken;
  for (int round = 0; round < 5000; ++round) {
    switch (random() % 6) {
      case 0:
        taken.emplace_back(document, written(document));
        break;
      case 1:
        held = &(*held)["member" + std::to_string(random() % 3)];
        break;
      case 2:
        held = &(*held)[random() % 3];
        break;
      case 3:
        *held = String(std::to_string(round));
        break;
      case 4:
        if (!taken.empty()) *held = taken[random() % taken.size()].first;
        break;
      default:
        held = &document;
    }
    if (taken.size() > 20 || written(document).size() > 10'000) {
      for (const auto& [copy, text] : taken) {
        ASSERT_EQ(written(copy), text) << "round " << round;
      }
      taken.clear();
      document = parsed(R"({"a":[1,{"b":"x"}],"c":{"d":{}}})");
      held = &document;
    }
  }
}

}  // namespace
