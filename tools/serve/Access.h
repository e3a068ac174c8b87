/// \file
/// Who may see the page of `rksignal serve`.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace rksignal {

/// What a request says about who sends it; empty where it says nothing.
struct Visit {
    std::string path = {};
    std::string host = {};          ///< of the header Host
    std::string fetchSite = {};     ///< of the header Sec-Fetch-Site
    std::string authorization = {}; ///< of the header Authorization
    std::string cookies = {};       ///< of the header Cookie
    std::string token = {};         ///< of the address, `?token=`
};

enum class Verdict {
    Welcome,
    WelcomeWithCookie, ///< and the token of the address is to be kept in a cookie
    WrongHost,         ///< the page of another site, whose name leads here, asks
    ForeignPage,       ///< the page of another site asks for data
    NoToken,           ///< none, or a wrong one
};

/// Judges requests. Without a token whoever can reach the server is welcome, but for pages of other sites:
/// a server on the loopback address is reached by every page that its user has open.
class Access {
  public:
    Access() = default;
    /// \param cookie the name of the cookie that may hold the token
    Access(std::string token, std::string cookie) : token(std::move(token)), cookie(std::move(cookie)) {}

    Verdict judge(const Visit& visit) const;
    bool needsToken() const { return !token.empty(); }
    /// The value of the header Set-Cookie that keeps the token. REQUIRES: needsToken().
    std::string setCookie() const { return cookie + "=" + token + "; Path=/; HttpOnly; SameSite=Strict"; }

  private:
    std::string token;
    std::string cookie;
};

/// 32 hexadecimal digits of the system's random numbers. \throws std::system_error
std::string randomToken();

/// The token in a file: its first line, 16 to 128 letters, digits and `-._~`. \throws Error if the file
/// cannot be read or holds no such token
std::string readToken(const std::string& path);

/// Whether the texts are equal, in a time that tells nothing about where they differ.
bool equalInConstantTime(std::string_view left, std::string_view right);

/// The value of a cookie in the header Cookie, or nothing.
std::optional<std::string_view> cookieValue(std::string_view header, std::string_view name);

/// The host of the header Host, without port and brackets.
std::string_view hostOf(std::string_view header);

} // namespace rksignal
