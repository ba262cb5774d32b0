// Names, signatures and slots of namespace http that plug-ins are compiled against.
#include <type_traits>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "framework/http/Cookie.h"
#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"

namespace {

using contract::slotOf;
using http::HTTPCommand;
using http::RestApi;

// RestApi
static_assert(std::is_constructible_v<RestApi, RestApi::RestVerb_, std::string, bool>);
static_assert(std::is_copy_constructible_v<RestApi> && std::is_copy_assignable_v<RestApi>);
static_assert(std::has_virtual_destructor_v<RestApi>);
static_assert(std::is_enum_v<RestApi::RestVerb_>);
static_assert(RestApi::GET == 1 && RestApi::POST == 2);
PIN(&RestApi::to_string, std::string (RestApi::*)() const);
PIN(&RestApi::operator std::string, std::string (RestApi::*)() const);
PIN(std::declval<const RestApi&>() < std::declval<const RestApi&>(), bool);

// HTTPCommand
static_assert(std::is_polymorphic_v<HTTPCommand> && std::has_virtual_destructor_v<HTTPCommand>);
static_assert(std::is_enum_v<HTTPCommand::HTTPStatus_>);
PIN(&HTTPCommand::getSessionCookie, const http::SessionCookie* (HTTPCommand::*)() const);
PIN(&HTTPCommand::getRequestVariable, std::string (HTTPCommand::*)(std::string));
PIN(&HTTPCommand::getResponseBody, json::Object& (HTTPCommand::*)());
PIN(&HTTPCommand::getHTTPStatus, HTTPCommand::HTTPStatus_ (HTTPCommand::*)());
PIN(&HTTPCommand::setURI, void (HTTPCommand::*)(std::string));
PIN(&HTTPCommand::setCookie, void (HTTPCommand::*)(std::string));
using CreateWithBody = HTTPCommand* (HTTPCommand::*)(const RestApi*, json::Object, json::Object&);
using CreateWithoutBody = HTTPCommand* (HTTPCommand::*)(const RestApi*);
static_assert(contract::kExists<static_cast<CreateWithBody>(&HTTPCommand::createCommand)>);
static_assert(contract::kExists<static_cast<CreateWithoutBody>(&HTTPCommand::createCommand)>);

// Cookies
static_assert(std::is_base_of_v<http::Cookie, http::SessionCookie>);
static_assert(std::is_enum_v<http::CookieType_>);
PIN(&http::SessionCookie::get_type, http::CookieType_ (http::SessionCookie::*)() const);
PIN(&http::SessionCookie::getSessionId, const http::SessionID& (http::SessionCookie::*)() const);
PIN(&http::SessionID::operator<, bool (http::SessionID::*)(const http::SessionID&) const);

TEST(HttpContract, StatusesAreTheNumbersOfHttp) {
  EXPECT_EQ(HTTPCommand::HTTP_OK, 200);
  EXPECT_EQ(HTTPCommand::HTTP_NO_CONTENT, 204);
  EXPECT_EQ(HTTPCommand::HTTP_BAD_REQUEST, 400);
  EXPECT_EQ(HTTPCommand::HTTP_UNAUTHORIZED, 401);
  EXPECT_EQ(HTTPCommand::HTTP_FORBIDDEN, 403);
  EXPECT_EQ(HTTPCommand::HTTP_NOT_FOUND, 404);
  EXPECT_EQ(HTTPCommand::HTTP_METHOD_NOT_ALLOWED, 405);
  EXPECT_EQ(HTTPCommand::HTTP_REQUEST_TIMEOUT, 408);
  EXPECT_EQ(HTTPCommand::HTTP_PAYLOAD_TOO_LARGE, 413);
  EXPECT_EQ(HTTPCommand::HTTP_INTERNAL_SERVER_ERROR, 500);
  EXPECT_EQ(HTTPCommand::HTTP_BAD_GATEWAY, 502);
  EXPECT_EQ(HTTPCommand::HTTP_SERVICE_UNAVAILABLE, 503);
  EXPECT_EQ(HTTPCommand::HTTP_GATEWAY_TIMEOUT, 504);
  EXPECT_EQ(static_cast<int>(static_cast<HTTPCommand::HTTPStatus_>(999)), 999);  // whatever a peer answers
}

TEST(HttpContract, CommandKeepsItsSlots) {
  const std::size_t first = slotOf(&HTTPCommand::getRequestVariable);
  EXPECT_EQ(slotOf(&HTTPCommand::getSessionCookie) + 1, first);
  EXPECT_EQ(slotOf(&HTTPCommand::getResponseBody), first + 1);
  EXPECT_EQ(slotOf(&HTTPCommand::getHTTPStatus), first + 2);
  EXPECT_EQ(slotOf(&HTTPCommand::setURI), first + 3);
  EXPECT_EQ(slotOf(static_cast<CreateWithBody>(&HTTPCommand::createCommand)), first + 4);
  EXPECT_EQ(slotOf(static_cast<CreateWithoutBody>(&HTTPCommand::createCommand)), first + 5);
  EXPECT_EQ(slotOf(&HTTPCommand::setCookie), first + 6);
}

TEST(HttpContract, RestApiKeepsItsSlots) {
  EXPECT_EQ(slotOf(&RestApi::to_string), 2u);  // behind the destructor
  EXPECT_EQ(slotOf(&RestApi::operator std::string), 3u);
}

}  // namespace
