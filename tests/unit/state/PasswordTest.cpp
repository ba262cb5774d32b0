#include <gtest/gtest.h>

#include "state/Password.h"
#include "state/Secrets.h"

namespace {

using namespace state;

TEST(UserName, HasSmallLettersDigitsAndThreeSigns) {
  for (const char* name : {"a", "admin", "storage.admin-2_x", "0", "..", "abcdefghijklmnopqrstuvwxyz012345"}) {
    EXPECT_EQ(userNameProblem(name), std::nullopt) << name;
  }
}

TEST(UserName, HasNothingElse) {
  for (const char* name :
       {"", "Admin", "a b", "a/b", "a\nb", "a\"b", "\xC3\xA4", "<b>", "abcdefghijklmnopqrstuvwxyz0123456"}) {
    EXPECT_NE(userNameProblem(name), std::nullopt) << name;
  }
  EXPECT_NE(userNameProblem(std::string("a\0b", 3)), std::nullopt);
}

TEST(Password, HasTwelveToThousandAndTwentyFourBytes) {
  EXPECT_EQ(passwordProblem("admin", std::string(12, 'x')), std::nullopt);
  EXPECT_EQ(passwordProblem("admin", std::string(1024, 'x')), std::nullopt);
  EXPECT_EQ(passwordProblem("admin", std::string(11, 'x')), "A password has at least 12 characters");
  EXPECT_EQ(passwordProblem("admin", ""), "A password has at least 12 characters");
  EXPECT_EQ(passwordProblem("admin", std::string(1025, 'x')), "A password has at most 1024 bytes");
}

TEST(Password, IsNotTheUserNameAndHasNoControlCharacters) {
  EXPECT_EQ(passwordProblem("administrator", "administrator"), "The password must not be the user name");
  EXPECT_EQ(passwordProblem("admin", "correct\nhorse battery"), "A password has no control characters");
  EXPECT_EQ(passwordProblem("admin", "correct horse\x7F battery"), "A password has no control characters");
  EXPECT_EQ(passwordProblem("admin", std::string("correct\0horse battery", 21)),
            "A password has no control characters");
  EXPECT_EQ(passwordProblem("admin", "k\xC3\xB6rrektes Pferd"), std::nullopt);
}

TEST(Password, IsKnownByItsHashAlone) {
  const std::string hash = hashPassword("correct horse battery");
  EXPECT_TRUE(hash.starts_with("$argon2id$v=19$m=65536,t=2,p=1$")) << hash;
  EXPECT_TRUE(isPasswordHash(hash));
  EXPECT_TRUE(isPassword(hash, "correct horse battery"));
  EXPECT_FALSE(isPassword(hash, "correct horse batterz"));
  EXPECT_FALSE(isPassword(hash, ""));
  EXPECT_NE(hashPassword("correct horse battery"), hash) << "each has a salt of its own";
}

TEST(Password, HasNoHashOfAnotherKind) {
  for (const std::string text : {"", "correct horse battery", "$argon2i$v=19$m=65536,t=2,p=1$AAAAAAAA$AAAA",
                                 "$argon2id$", "$argon2id$v=19$m=x$$", "$6$salt$hash"}) {
    EXPECT_FALSE(isPasswordHash(text)) << text;
    EXPECT_FALSE(isPassword(text, "correct horse battery")) << text;
  }
  EXPECT_FALSE(isPasswordHash("$argon2id$" + std::string(1000, 'x')));
}

TEST(Password, OfNobodyIsNone) {
  EXPECT_FALSE(isPasswordOfNobody("correct horse battery"));
  EXPECT_FALSE(isPasswordOfNobody(""));
}

TEST(Secret, IsAnother256BitsEachTime) {
  const std::string secret = makeSecret();
  EXPECT_EQ(secret.size(), 43U);
  EXPECT_EQ(secret.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            std::string::npos);
  EXPECT_NE(makeSecret(), secret);
}

TEST(Secret, IsKeptAsItsDigest) {
  EXPECT_EQ(digestOf(""), "0e5751c026e543b2e8ab2eb06099daa1d1e5df47778f7787faab45cdf12fe3a8");
  EXPECT_NE(digestOf("a"), digestOf("b"));
}

TEST(Secret, IsComparedWhole) {
  EXPECT_TRUE(isSame("", ""));
  EXPECT_TRUE(isSame("abc", "abc"));
  EXPECT_FALSE(isSame("abc", "abd"));
  EXPECT_FALSE(isSame("abc", "abcd"));
  EXPECT_FALSE(isSame("abc", ""));
}

}  // namespace
