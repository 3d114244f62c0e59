// Who is let in, without sockets.
#include "service/remote/Site.h"

#include <gtest/gtest.h>

#include "common/KCasl.h"
#include "service/remote/FormFields.h"
#include "tests/support/TemporaryFolder.h"

namespace remote {
namespace {

using namespace std::chrono_literals;

TEST(OwnNames, AHostIsOneOfTheServicesNamesWithAnyPort) {
  const OwnNames names({"127.0.0.1", "::1", "Desk.example.org", "*.lab.example.org"}, false);
  const struct {
    const char* host;
    bool own;
  } rows[] = {{"127.0.0.1", true},
              {"127.0.0.1:8080", true},
              {"[::1]:8080", true},
              {"[::1]", true},
              {"desk.EXAMPLE.org:1", true},
              {"a.lab.example.org", true},
              {"a.b.lab.example.org", false},
              {".lab.example.org", false},
              {"lab.example.org", false},
              {"", false},
              {":80", false},
              {"evil.org", false},
              {"127.0.0.1.evil.org", false},
              {"127.0.0.1:", false},
              {"127.0.0.1:80:80", false},
              {"127.0.0.1:8o", false},
              {"[::1", false},
              {"[::1]x80", false},
              {"::1", false},
              {"127.0.0.1:123456", false}};
  for (const auto& row : rows) EXPECT_EQ(names.IsHost(row.host), row.own) << row.host;
}

TEST(OwnNames, AnOriginIsThePageUnderTheSameHostPortAndScheme) {
  const OwnNames plain({"localhost"}, false);
  const OwnNames secure({"localhost"}, true);
  EXPECT_TRUE(plain.IsOrigin("http://localhost:80", "localhost:80"));
  EXPECT_TRUE(secure.IsOrigin("https://LOCALHOST:80", "localhost:80"));
  for (const char* origin : {"null", "https://localhost:80", "http://localhost:81", "http://localhost",
                             "http://evil.org:80", "http://localhost:80/", "localhost:80"})
    EXPECT_FALSE(plain.IsOrigin(origin, "localhost:80")) << origin;
}

TEST(FormFields, AFieldIsFoundAndDecodedOrIsNotThere) {
  const struct {
    const char* form;
    std::optional<std::string> value;
  } rows[] = {{"token=a", "a"},           {"x=1&token=a&token=b", "a"}, {"token=", ""},
              {"token=%41+b", "A b"},     {"&&token=a", "a"},           {"", std::nullopt},
              {"token", std::nullopt},    {"xtoken=a", std::nullopt},   {"tokenx=a", std::nullopt},
              {"token=%4", std::nullopt}, {"token=%zz", std::nullopt},  {"token=%-1", std::nullopt}};
  for (const auto& row : rows) EXPECT_EQ(FormField(row.form, "token"), row.value) << row.form;
}

TEST(FormFields, OfSeveralCookiesTheNamedOneIsTaken) {
  EXPECT_EQ(CookieNamed("a=1; kvremote-80=x; kvremote-8=y", "kvremote-8"), "y");
  EXPECT_EQ(CookieNamed("a=kvremote-8=y;;", "kvremote-8"), "");
}

class SiteTest : public testing::Test {
 protected:
  SiteTest() { ASLSetLogFile((folder_ / "log").c_str()); }

  WebAnswer Get(const std::string& target, std::string_view cookie = {}) {
    return site_.Answer({.method = "GET", .target = target, .host = "localhost", .cookie = cookie}, "peer:1",
                        now_);
  }

  const test::TemporaryFolder folder_;
  Clock::time_point now_{1h};
  Site site_{OwnNames({"localhost"}, false), "name", false};
};

TEST_F(SiteTest, WrongTokensWaitEverLongerAndARightOneNever) {
  Clock::duration last{};
  for (int i = 0; i < 20; ++i) {
    const WebAnswer answer = Get("/?token=x");
    EXPECT_EQ(answer.status, 403u);
    EXPECT_TRUE(answer.delay > last || answer.delay == SignInDelay::kLongest);
    last = answer.delay;
  }
  EXPECT_EQ(last, SignInDelay::kLongest);
  const WebAnswer right = Get("/?token=" + site_.Token());
  EXPECT_EQ(right.status, 303u);
  EXPECT_EQ(right.delay, Clock::duration::zero());

  now_ += SignInDelay::kForgottenAfter + 1s;
  EXPECT_EQ(Get("/?token=x").delay, SignInDelay::kFirst);
  EXPECT_NE(test::FileText(folder_ / "log").find("a wrong token came from peer:1"), std::string::npos);
}

TEST_F(SiteTest, TheTokenIsNoCookieAndTheCookieNoToken) {
  const std::string set = Get("/?token=" + site_.Token()).setCookie;
  EXPECT_TRUE(set.ends_with("; Path=/; HttpOnly; SameSite=Lax")) << set;
  const std::string cookie = set.substr(0, set.find(';'));
  EXPECT_EQ(Get("/", cookie).status, 200u);
  EXPECT_EQ(Get("/", "name=" + site_.Token()).status, 401u);
  EXPECT_EQ(Get("/?token=" + cookie.substr(5)).status, 403u);
  const Site other(OwnNames({}, false), "name", false);
  EXPECT_NE(other.Token(), site_.Token());
}

TEST(MessageRate, HoldsInTheLongRun) {
  Clock::time_point now{1h};
  MessageRate rate(100, now);
  int taken = 0;
  for (int i = 0; i < 10'000; ++i, now += 1ms) taken += rate.Take(now) ? 1 : 0;
  EXPECT_NEAR(taken, 1100, 2);
}

}  // namespace
}  // namespace remote
