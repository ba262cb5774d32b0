#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/ServiceType.h"

namespace {

using namespace slp::wire;

struct Coverage {
  std::string_view name;
  std::string_view asked;
  std::string_view offered;
  bool covers;
};

constexpr Coverage kCoverages[] = {
    {"the same", "service:wbem:https", "service:wbem:https", true},
    {"the abstract type", "service:wbem", "service:wbem:https", true},
    {"other case and white space", " Service:WBEM", "service:wbem:HTTPS ", true},
    {"the concrete type does not cover the abstract", "service:wbem:https", "service:wbem", false},
    {"another concrete type", "service:wbem:http", "service:wbem:https", false},
    {"the start of a name", "service:wb", "service:wbem", false},
    {"the start of an abstract name", "service:wb", "service:wbem:https", false},
    {"the start of a concrete name", "service:wbem:http", "service:wbem:httpsx", false},
    {"authorities are distinct", "service:x.one", "service:x.two", false},
    {"no authority is not any authority", "service:x", "service:x.one", false},
    {"authorities of abstract types are distinct", "service:abstract.one:y", "service:abstract.two:y", false},
    {"an abstract type with its authority", "service:x-mgmt.quorvel", "service:x-mgmt.quorvel:kvt", true},
    {"an abstract type without its authority", "service:x-mgmt", "service:x-mgmt.quorvel:kvt", false},
    {"the scheme alone", "service", "service:wbem", false},
    {"the scheme and its colon", "service:", "service:wbem", false},
    {"an empty name", "service:", "service::x", false},
    {"no more than one abstract part", "service:a:b", "service:a:b:c", false},
    {"other schemes", "http", "http", true},
    {"other schemes have no abstract part", "http", "http:x", false},
    {"a scheme is not the type of a service", "http", "service:http", false},
    {"nothing asked", "", "service:wbem", false},
    {"nothing at all", "", "", false},
};

TEST(ServiceType, KnowsItsSchemeInAnyCase) {
  EXPECT_TRUE(hasServiceScheme("service:"));
  EXPECT_TRUE(hasServiceScheme("Service:wbem"));
  EXPECT_FALSE(hasServiceScheme("service"));
  EXPECT_FALSE(hasServiceScheme("services:wbem"));
  EXPECT_FALSE(hasServiceScheme("https:"));
}

TEST(ServiceType, CoversItselfAndItsConcreteTypes) {
  for (const Coverage& row : kCoverages)
    EXPECT_EQ(covers(row.asked, row.offered), row.covers) << row.name;
}

TEST(ServiceType, CoversItself) {
  for (const Coverage& row : kCoverages)
    EXPECT_EQ(covers(row.offered, row.offered), !row.offered.empty()) << row.offered;
}

TEST(ServiceType, IsFoundUnderTheTypesThatCoverIt) {
  for (const Coverage& row : kCoverages) {
    if (row.asked.empty()) continue;
    const IndexKeys asked = indexKeys(row.asked);
    const IndexKeys offered = indexKeys(row.offered);
    EXPECT_EQ(asked.type == offered.type || asked.type == offered.abstractType, row.covers) << row.name;
  }
}

TEST(ServiceType, HasAnAbstractTypeWhenItIsConcrete) {
  EXPECT_EQ(indexKeys(" Service:X-Mgmt.Quorvel:KVT ").type, "service:x-mgmt.quorvel:kvt");
  EXPECT_EQ(indexKeys(" Service:X-Mgmt.Quorvel:KVT ").abstractType, "service:x-mgmt.quorvel");
  EXPECT_EQ(indexKeys("service:wbem").abstractType, "");
  EXPECT_EQ(indexKeys("http:x").abstractType, "");
}

TEST(ServiceType, NamesItsAuthorityAtTheEndOfItsAbstractPart) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"service:wbem", ""},
      {"service:wbem:https", ""},
      {"service:x.one", "one"},
      {"service:x-mgmt.quorvel:kvt", "quorvel"},
      {"service:abstract:concrete.one", ""},
      {"SERVICE:a.b.C", "C"},
      {" foo.acme ", "acme"},
      {"service:x.", ""},
      {"", ""},
  };
  for (const auto& [type, authority] : rows)
    EXPECT_EQ(namingAuthority(type), authority) << type;
}

TEST(ServiceType, IsReadFromAUrl) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"service:wbem:https://10.0.0.9:5989", "service:wbem:https"},
      {"service:x-mgmt.quorvel:kvt://10.77.0.1:8443/path;a=b", "service:x-mgmt.quorvel:kvt"},
      {"Service:X://h", "Service:X"},
      {"service:wbem", "service:wbem"},
      {"service:x:/at/object:type@zone", "service:x"},
      {"service:x:/ipx/00000001:000000000002:0451", "service:x"},
      {"http://host/a://b", "http"},
      {"mailto:user@host", "mailto"},
      {" https://host ", "https"},
      {"://10.77.0.1:8443", ""},
      {"host", ""},
      {"", ""},
      {"a b://host", ""},
  };
  for (const auto& [url, type] : rows)
    EXPECT_EQ(serviceTypeOf(url), type) << url;
}

TEST(ServiceType, IsToldFromAUrl) {
  for (const std::string_view type : {"service:wbem", "service:wbem:https", "http", "service:x-mgmt.quorvel:kvt"})
    EXPECT_TRUE(isServiceType(type)) << type;
  for (const std::string_view other : {"service:wbem://host", "service:x:/at/o:t", "http://host/", "", "  "})
    EXPECT_FALSE(isServiceType(other)) << other;
}

}  // namespace
