#include "service/remote/Site.h"

#include <asl.h>

#include <utility>

#include "common/KCasl.h"
#include "service/remote/FormFields.h"
#include "service/remote/PageFiles.h"

namespace remote {

namespace {

using Header = std::pair<std::string_view, std::string_view>;

constexpr Header kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; worker-src 'self'; style-src 'self'; img-src 'self' blob:; "
     "media-src blob:; connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    // A page that tells nobody where it is would send its own sign-in form as from nowhere.
    {"Referrer-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Embedder-Policy", "require-corp"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

WebAnswer Plain(unsigned status, std::string_view words) {
  return {.status = status, .contentType = "text/plain; charset=utf-8", .body = words};
}

WebAnswer File(unsigned status, std::string_view name) {
  const PageFile* const file = FindPageFile(name);
  if (file == nullptr) return Plain(404, "There is no such page.\n");
  return {.status = status, .contentType = file->contentType, .body = file->bytes};
}

WebAnswer WrongMethod(std::string_view allowed) {
  WebAnswer answer = Plain(405, "That cannot be done here.\n");
  answer.allow = allowed;
  return answer;
}

}  // namespace

Site::Site(OwnNames names, std::string cookieName, bool secure)
    : names_(std::move(names)), cookieName_(std::move(cookieName)), secure_(secure) {}

std::span<const Header> Site::Headers() { return kHeaders; }

WebAnswer Site::Answer(const WebRequest& request, std::string_view peer, Clock::time_point now) {
  if (!names_.IsHost(request.host)) return Plain(421, "This is not the address of the service.\n");
  if (!request.origin.empty() && !names_.IsOrigin(request.origin, request.host))
    return Plain(403, "Other pages have no access.\n");

  const size_t mark = request.target.find('?');
  const std::string_view path = request.target.substr(0, mark);
  const std::string_view query = mark == path.npos ? std::string_view() : request.target.substr(mark + 1);
  if (path == "/sign-in")
    return request.method == "POST" ? SignIn(request.body, peer, now) : WrongMethod("POST");
  if (request.method != "GET") return WrongMethod("GET");
  if (path == "/viewer") return Upgrade(request);
  if (path != "/") {
    // Pages have addresses of their own.
    return path.ends_with(".html") ? File(404, {}) : File(200, path.substr(path.empty() ? 0 : 1));
  }
  if (FormField(query, "token")) return SignIn(query, peer, now);
  return HasCookie(request) ? File(200, kViewerPage) : File(401, kSignInPage);
}

WebAnswer Site::Upgrade(const WebRequest& request) const {
  if (!HasCookie(request)) return Plain(401, "Sign in first.\n");
  if (request.origin.empty()) return Plain(403, "Only the page has access.\n");
  if (!request.upgrade || !ListHas(request.protocols, kViewerProtocol))
    return Plain(400, "This is for the page's own connection.\n");
  return {.upgrade = true};
}

WebAnswer Site::SignIn(std::string_view form, std::string_view peer, Clock::time_point now) {
  if (!tokens_.IsToken(FormField(form, "token").value_or(""))) {
    ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: a wrong token came from %s", std::string(peer).c_str());
    WebAnswer answer = File(403, kWrongTokenPage);
    answer.delay = delay_.AfterFailure(now);
    return answer;
  }
  WebAnswer answer{.status = 303, .location = "/"};
  // Not Strict: a browser that has followed another site's link to here would keep the cookie back at "/".
  answer.setCookie =
      cookieName_ + "=" + tokens_.Cookie() + "; Path=/; HttpOnly; SameSite=Lax" + (secure_ ? "; Secure" : "");
  return answer;
}

bool Site::HasCookie(const WebRequest& request) const {
  return tokens_.IsCookie(CookieNamed(request.cookie, cookieName_));
}

}  // namespace remote
