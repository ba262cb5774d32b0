#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "state/Accounts.h"
#include "state/Password.h"

namespace {

namespace fs = std::filesystem;
using state::Account;
using state::AccountBook;
using state::Accounts;
using state::Directory;
using state::Token;
using Reason = Accounts::Refusal::Reason;

constexpr const char* kPassword = "correct horse battery";
constexpr const char* kOther = "another horse battery";

class AccountsTest : public testing::Test {
 protected:
  AccountsTest() : mDirectory(makeDirectory()), mAccounts(mDirectory) {}
  ~AccountsTest() override { fs::remove_all(mDirectory.path()); }

  static std::string makeDirectory() {
    std::string name = fs::temp_directory_path() / "kvt-accounts-XXXXXX";
    return mkdtemp(name.data());
  }

  std::string file() const { return mDirectory.pathOf(Accounts::kFileName); }
  void put(const std::string& content) const { mDirectory.write(Accounts::kFileName, content); }
  std::string content() const { return mDirectory.read(Accounts::kFileName).value_or(""); }
  std::string tokenOf(const std::string& name, const std::string& user, const std::string& role = "viewer") {
    auto made = mAccounts.addToken(name, user, role);
    return std::holds_alternative<std::string>(made) ? std::get<std::string>(made) : "";
  }

  static void expectRefused(const Accounts::Outcome& outcome, Reason reason, const std::string& text) {
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->reason, reason);
    EXPECT_EQ(outcome->text, text);
  }

  const Directory mDirectory;
  Accounts mAccounts;
};

TEST_F(AccountsTest, AreNoneAtFirst) {
  EXPECT_TRUE(mAccounts.read().book->accounts.empty());
  EXPECT_EQ(mAccounts.read().problem, "");
  EXPECT_FALSE(mAccounts.verify("admin", kPassword));
}

TEST_F(AccountsTest, KnowWhoHasBeenAdded) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const auto found = mAccounts.verify("admin", kPassword);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->role, "operator");
  EXPECT_EQ(found->created.size(), std::string("2026-11-21T16:50:00Z").size());
  EXPECT_FALSE(mAccounts.verify("admin", kOther));
  EXPECT_FALSE(mAccounts.verify("Admin", kPassword));
  EXPECT_FALSE(mAccounts.verify("", kPassword));
}

TEST_F(AccountsTest, AreSeenByOthersAtOnce) {
  Accounts other(mDirectory);
  EXPECT_TRUE(other.read().book->accounts.empty());
  EXPECT_FALSE(mAccounts.add("admin", "viewer", kPassword));
  EXPECT_EQ(other.read().book->accounts.at("admin").role, "viewer");
  EXPECT_FALSE(other.setRole("admin", "operator"));
  EXPECT_EQ(mAccounts.read().book->accounts.at("admin").role, "operator");
}

TEST_F(AccountsTest, KeepNoPasswordAndNoToken) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const std::string token = tokenOf("script", "admin");
  EXPECT_EQ(content().find(kPassword), std::string::npos);
  EXPECT_EQ(content().find(token.substr(4)), std::string::npos);
}

TEST_F(AccountsTest, TakeNoBadInput) {
  const std::string names = "A user name has 1 to 32 characters: small letters a to z, digits, \".\", \"_\" and \"-\"";
  expectRefused(mAccounts.add("Admin", "operator", kPassword), Reason::kBadInput, names);
  expectRefused(mAccounts.add("admin", "root", kPassword), Reason::kBadInput, "A role is \"viewer\" or \"operator\"");
  expectRefused(mAccounts.add("admin", "none", kPassword), Reason::kBadInput, "A role is \"viewer\" or \"operator\"");
  expectRefused(mAccounts.add("admin", "operator", "short"), Reason::kBadInput,
                "A password has at least 12 characters");
  expectRefused(mAccounts.setPassword("admin", "short"), Reason::kBadInput, "A password has at least 12 characters");
  expectRefused(mAccounts.setRole("admin", ""), Reason::kBadInput, "A role is \"viewer\" or \"operator\"");
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(AccountsTest, AreOnePerUser) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  expectRefused(mAccounts.add("admin", "viewer", kOther), Reason::kExists, "There is an account \"admin\" already");
  EXPECT_TRUE(mAccounts.verify("admin", kPassword));
}

TEST_F(AccountsTest, HaveOneFirst) {
  EXPECT_FALSE(mAccounts.addFirst("admin", kPassword));
  EXPECT_EQ(mAccounts.read().book->accounts.at("admin").role, "operator");
  expectRefused(mAccounts.addFirst("second", kPassword), Reason::kExists, "There is an account already: log in");
  EXPECT_EQ(mAccounts.read().book->accounts.size(), 1U);
}

TEST_F(AccountsTest, TakeANewPassword) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  EXPECT_FALSE(mAccounts.setPassword("admin", kOther));
  EXPECT_FALSE(mAccounts.verify("admin", kPassword));
  EXPECT_TRUE(mAccounts.verify("admin", kOther));
}

TEST_F(AccountsTest, SayThatThereIsNoSuchAccount) {
  expectRefused(mAccounts.setPassword("nobody", kPassword), Reason::kMissing, "There is no account \"nobody\"");
  expectRefused(mAccounts.setRole("nobody", "viewer"), Reason::kMissing, "There is no account \"nobody\"");
  expectRefused(mAccounts.remove("nobody"), Reason::kMissing, "There is no account \"nobody\"");
  const auto made = mAccounts.addToken("script", "nobody", "viewer");
  ASSERT_TRUE(std::holds_alternative<Accounts::Refusal>(made));
  EXPECT_EQ(std::get<Accounts::Refusal>(made).reason, Reason::kMissing);
}

TEST_F(AccountsTest, GoWithTheirTokens) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  EXPECT_FALSE(mAccounts.add("other", "operator", kPassword));
  const std::string token = tokenOf("one", "admin");
  const std::string kept = tokenOf("two", "other");
  EXPECT_FALSE(mAccounts.remove("admin"));
  EXPECT_FALSE(mAccounts.findToken(token));
  EXPECT_TRUE(mAccounts.findToken(kept));
  EXPECT_FALSE(mAccounts.verify("admin", kPassword));
}

TEST_F(AccountsTest, KnowATokenByItsText) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const std::string text = tokenOf("script", "admin", "operator");
  ASSERT_EQ(text.size(), 47U);
  EXPECT_TRUE(text.starts_with("kvt_"));
  const auto found = mAccounts.findToken(text);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->name, "script");
  EXPECT_EQ(found->user, "admin");
  EXPECT_EQ(found->role, "operator");
  EXPECT_EQ(found->lastUsed, "");
  EXPECT_FALSE(mAccounts.findToken(text + "x"));
  EXPECT_FALSE(mAccounts.findToken(text.substr(0, 46)));
  EXPECT_FALSE(mAccounts.findToken(""));
  EXPECT_FALSE(mAccounts.findToken(found->digest));
}

TEST_F(AccountsTest, HaveOneTokenOfAName) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  EXPECT_NE(tokenOf("script", "admin"), "");
  const auto again = mAccounts.addToken("script", "admin", "viewer");
  ASSERT_TRUE(std::holds_alternative<Accounts::Refusal>(again));
  EXPECT_EQ(std::get<Accounts::Refusal>(again).reason, Reason::kExists);
  for (const char* name : {"", "a b", "a/b", "{name}"}) {
    const auto made = mAccounts.addToken(name, "admin", "viewer");
    ASSERT_TRUE(std::holds_alternative<Accounts::Refusal>(made));
    EXPECT_EQ(std::get<Accounts::Refusal>(made).reason, Reason::kBadInput) << name;
  }
}

TEST_F(AccountsTest, LetATokenGoToItsUserAlone) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  EXPECT_FALSE(mAccounts.add("other", "viewer", kPassword));
  const std::string text = tokenOf("script", "admin");
  expectRefused(mAccounts.removeToken("script", "other"), Reason::kMissing, "There is no token \"script\"");
  EXPECT_TRUE(mAccounts.findToken(text));
  EXPECT_FALSE(mAccounts.removeToken("script", "admin"));
  EXPECT_FALSE(mAccounts.findToken(text));
  EXPECT_NE(tokenOf("script", "admin"), "");
  EXPECT_FALSE(mAccounts.removeToken("script", ""));
}

TEST_F(AccountsTest, NoteThatATokenWasUsed) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const std::string text = tokenOf("script", "admin");
  EXPECT_FALSE(mAccounts.noteUse("script"));
  EXPECT_FALSE(mAccounts.noteUse("gone"));
  EXPECT_TRUE(mAccounts.findToken(text)->lastUsed.starts_with("20"));
}

TEST_F(AccountsTest, AreBounded) {
  AccountBook book;
  const std::string hash = state::hashPassword(kPassword);
  for (std::size_t i = 0; i < AccountBook::kMostAccounts; ++i) {
    book.accounts["user" + std::to_string(i)] = {"viewer", hash, ""};
    book.tokens.push_back({"token" + std::to_string(i), "user0", "viewer", std::string(64, 'a'), "", ""});
  }
  put(writeAccountBook(book));
  expectRefused(mAccounts.add("more", "viewer", kPassword), Reason::kFull, "There are 256 accounts");
  const auto made = mAccounts.addToken("more", "user0", "viewer");
  ASSERT_TRUE(std::holds_alternative<Accounts::Refusal>(made));
  EXPECT_EQ(std::get<Accounts::Refusal>(made).reason, Reason::kFull);
  book.accounts["more"] = {"viewer", hash, ""};
  put(writeAccountBook(book));
  EXPECT_NE(mAccounts.read().problem, "");
}

TEST_F(AccountsTest, AreReadAsTheyWereWritten) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  EXPECT_NE(tokenOf("script", "admin"), "");
  const auto book = state::readAccountBook(content());
  ASSERT_TRUE(std::holds_alternative<AccountBook>(book));
  EXPECT_EQ(writeAccountBook(std::get<AccountBook>(book)), content());
  EXPECT_EQ(std::get<AccountBook>(book), *mAccounts.read().book);
}

/// A file that is in order but for one thing, which a text in it is replaced by another for.
struct Damage {
  const char* text;
  const char* by;
  const char* problem;
};

TEST_F(AccountsTest, OfAFileThatIsNotInOrderLetNobodyIn) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const std::string token = tokenOf("script", "admin");
  const std::string good = content();
  for (const auto& [text, by, problem] :
       {Damage{"{", "[", "it is no JSON document: "}, Damage{"\"format\" : 1", "\"format\" : 2", "its format is not 1"},
        Damage{"\"accounts\"", "\"account\"", "there is no list \"accounts\""},
        Damage{"\"tokens\"", "\"token\"", "there is no list \"tokens\""},
        Damage{"\"admin\"", "\"Admin\"", "an account has no proper user name"},
        Damage{"\"operator\"", "\"root\"", "the role of \"admin\" is neither viewer nor operator"},
        Damage{"$argon2id", "$argon2", "the password of \"admin\" is no Argon2id hash"},
        Damage{"\"script\"", "\"a b\"", "a token has no proper name"},
        Damage{"\"viewer\"", "\"none\"", "the role of the token \"script\" is neither viewer nor operator"},
        Damage{"\"digest\" : \"", "\"digest\" : \"x", "the digest of the token \"script\" is malformed"}}) {
    std::string damaged = good;
    damaged.replace(damaged.find(text), std::string(text).size(), by);
    put(damaged);
    const auto reading = mAccounts.read();
    EXPECT_TRUE(reading.problem.starts_with(file() + " cannot be used: " + problem)) << reading.problem;
    EXPECT_TRUE(reading.book->accounts.empty());
    EXPECT_FALSE(mAccounts.findToken(token));
  }
  EXPECT_FALSE(mAccounts.verify("admin", kPassword));
  put(good);
  EXPECT_EQ(mAccounts.read().problem, "");
  EXPECT_TRUE(mAccounts.verify("admin", kPassword));
}

TEST_F(AccountsTest, OfAFileThatIsNotInOrderAreLeftAsTheyAre) {
  for (const std::string text : {"", "{}", "[]", "null", "{\"format\":1,\"accounts\":[],\"tokens\":[1]}"}) {
    put(text);
    EXPECT_NE(mAccounts.read().problem, "") << text;
    const auto outcome = mAccounts.addFirst("admin", kPassword);
    ASSERT_TRUE(outcome) << text;
    EXPECT_EQ(outcome->reason, Reason::kUnusable);
    EXPECT_EQ(content(), text);
  }
}

TEST_F(AccountsTest, OfAFileThatCannotBeReadLetNobodyIn) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  fs::rename(file(), file() + "x");
  fs::create_symlink(file() + "x", file());  // followed by nobody
  EXPECT_NE(mAccounts.read().problem.find(file()), std::string::npos) << mAccounts.read().problem;
  EXPECT_FALSE(mAccounts.verify("admin", kPassword));
  EXPECT_EQ(mAccounts.addFirst("second", kPassword)->reason, Reason::kUnusable);
  fs::remove(file());
  fs::rename(file() + "x", file());
  EXPECT_TRUE(mAccounts.verify("admin", kPassword));
}

TEST_F(AccountsTest, AreEditedByOneAtATime) {
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const auto addTokens = [this](const std::string& start) {
    Accounts accounts(mDirectory);
    for (int i = 0; i < 20; ++i) {
      EXPECT_TRUE(std::holds_alternative<std::string>(accounts.addToken(start + std::to_string(i), "admin", "viewer")));
      EXPECT_FALSE(mAccounts.read().book->accounts.empty());
    }
  };
  std::thread other(addTokens, "a");
  addTokens("b");
  other.join();
  EXPECT_EQ(mAccounts.read().book->tokens.size(), 40U);
}

TEST_F(AccountsTest, TakeAsLongForAnUnknownUserAsForAWrongPassword) {
  using Clock = std::chrono::steady_clock;
  EXPECT_FALSE(mAccounts.add("admin", "operator", kPassword));
  const auto best = [this](const std::string& user) {
    auto least = Clock::duration::max();
    for (int i = 0; i < 5; ++i) {
      const auto begin = Clock::now();
      EXPECT_FALSE(mAccounts.verify(user, kOther));
      least = std::min(least, Clock::now() - begin);
    }
    return least;
  };
  const auto known = best("admin");
  const auto unknown = best("nobody");
  EXPECT_LT(known, 3 * unknown);
  EXPECT_LT(unknown, 3 * known);
}

}  // namespace
