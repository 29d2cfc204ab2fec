#include "zeva/platform/URL.hpp"

#include "zeva/platform/SharedService.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <mutex>

#include "zeva/platform/Format.hpp"

namespace zeva {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~'; }
bool isSubDelim(char c) { return std::string_view("!$&'()*+,;=").find(c) != std::string_view::npos; }
// Characters allowed anywhere after the scheme, escapes aside ('[' and ']'
// only in the host, checked separately).
bool isURLChar(char c) { return isUnreserved(c) || isSubDelim(c) || c == ':' || c == '/' || c == '?' || c == '#' || c == '@'; }

bool escapesWellFormed(std::string_view s) {
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '%') continue;
        if (i + 2 >= s.size() || !isHex(s[i + 1]) || !isHex(s[i + 2])) return false;
        i += 2;
    }
    return true;
}

bool validHost(std::string_view host) {
    if (host.empty()) return true;
    if (host.front() == '[') {
        if (host.size() < 3 || host.back() != ']') return false;
        for (char c : host.substr(1, host.size() - 2))
            if (!(isHex(c) || c == ':' || c == '.')) return false;
        return true;
    }
    for (char c : host)
        if (!(isUnreserved(c) || isSubDelim(c) || c == '%')) return false;
    return true;
}

void appendEscaped(std::string& out, unsigned char c) {
    static const char hex[] = "0123456789ABCDEF";
    out += '%';
    out += hex[c >> 4];
    out += hex[c & 15];
}

}  // namespace

const Class& URL::staticClass() {
    static const Class cls("NSURL", &Object::staticClass(), nullptr);
    return cls;
}

Ref<URL> URL::URLWithString(std::string_view text) {
    // scheme ":" then only URL characters and well-formed escapes.
    size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || !isAlpha(text[0])) return nullptr;
    for (size_t i = 1; i < colon; ++i) {
        char c = text[i];
        if (!(isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.')) return nullptr;
    }
    std::string_view rest = text.substr(colon + 1);
    if (!escapesWellFormed(rest)) return nullptr;

    std::string_view authority;
    std::string_view afterAuthority = rest;
    bool hasAuthority = rest.substr(0, 2) == "//";
    if (hasAuthority) {
        std::string_view r = rest.substr(2);
        size_t end = r.find_first_of("/?#");
        authority = r.substr(0, end);
        afterAuthority = end == std::string_view::npos ? std::string_view() : r.substr(end);
    }
    for (char c : afterAuthority)
        if (!(isURLChar(c) || c == '%')) return nullptr;
    if (afterAuthority.find('#') != std::string_view::npos &&
        afterAuthority.find('#', afterAuthority.find('#') + 1) != std::string_view::npos)
        return nullptr;

    // authority = [userinfo "@"] host [":" port]
    std::string_view hostPort = authority;
    if (size_t at = authority.rfind('@'); at != std::string_view::npos) {
        for (char c : authority.substr(0, at))
            if (!(isUnreserved(c) || isSubDelim(c) || c == ':' || c == '%')) return nullptr;
        hostPort = authority.substr(at + 1);
    }
    std::string_view host = hostPort;
    size_t portColon = hostPort.rfind(':');
    if (portColon != std::string_view::npos && hostPort.find(']', portColon) == std::string_view::npos) {
        std::string_view port = hostPort.substr(portColon + 1);
        if (port.size() > 5) return nullptr;
        for (char c : port)
            if (!isDigit(c)) return nullptr;
        if (!port.empty() && std::stol(std::string(port)) > 65535) return nullptr;
        host = hostPort.substr(0, portColon);
    }
    if (!validHost(host)) return nullptr;

    std::string scheme(text.substr(0, colon));
    for (auto& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    // Web URLs need a host; a file URL's host may be empty ("file:///tmp/x").
    if ((scheme == "http" || scheme == "https") && (!hasAuthority || host.empty())) return nullptr;
    if (scheme == "file" && !afterAuthority.empty() && afterAuthority[0] != '/') return nullptr;
    if (!hasAuthority && rest.empty()) return nullptr;

    auto url = std::make_shared<URL>();
    url->text_ = std::string(text);
    url->scheme_ = std::move(scheme);
    url->host_ = std::string(host);
    std::string_view path = afterAuthority.substr(0, afterAuthority.find_first_of("?#"));
    url->path_ = path.empty() ? "/" : std::string(path);
    return url;
}

std::string addPercentEscapes(std::string_view text) {
    // Brackets belong to IPv6 hosts: kept in the authority, escaped elsewhere.
    size_t authorityStart = text.find("://");
    size_t authorityEnd = 0;
    if (authorityStart != std::string_view::npos) {
        authorityStart += 3;
        authorityEnd = std::min(text.find_first_of("/?#", authorityStart), text.size());
    }
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        bool inAuthority = authorityStart != std::string_view::npos && i >= authorityStart && i < authorityEnd;
        bool escape = !(isURLChar(c) || c == '%' || (inAuthority && (c == '[' || c == ']')));
        if (c == '%') escape = i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2]);
        if (escape)
            appendEscaped(out, static_cast<unsigned char>(c));
        else
            out += c;
    }
    return out;
}

Ref<URL> URL::URLWithStringAddingPercentEscapes(std::string_view text) {
    return URLWithString(addPercentEscapes(text));
}

Ref<URL> URL::fileURLWithPath(std::string_view path) {
    if (path.empty()) return nullptr;
    std::error_code ec;
    std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::path(std::string(path)), ec);
    if (ec) return nullptr;
    std::string text = "file://";
    for (char c : absolute.string()) {
        if (isUnreserved(c) || c == '/' || c == ':' || c == '@' || c == '!' || c == '$' || c == '&' || c == '\'' ||
            c == '(' || c == ')' || c == '*' || c == '+' || c == ',' || c == ';' || c == '=')
            text += c;
        else
            appendEscaped(text, static_cast<unsigned char>(c));
    }
    return URLWithString(text);
}

// ---- fetching ----------------------------------------------------------------

namespace {

void initCurlOnce() {
    static const bool done = [] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; }();
    (void)done;
}

struct Sink {
    std::string body;
    size_t maxBytes = 0;
    bool overCap = false;
};

size_t writeBody(char* data, size_t size, size_t count, void* user) {
    auto* sink = static_cast<Sink*>(user);
    size_t n = size * count;
    if (sink->body.size() + n > sink->maxBytes) {
        sink->overCap = true;
        return 0;  // makes libcurl stop with a write error
    }
    sink->body.append(data, n);
    return n;
}

struct EasyHandle {
    CURL* h = curl_easy_init();
    ~EasyHandle() {
        if (h) curl_easy_cleanup(h);
    }
};

}  // namespace

CurlURLFetcher::CurlURLFetcher(FetchLimits limits) : limits_(limits) { initCurlOnce(); }

FetchResult CurlURLFetcher::fetchText(const URL& url) {
    FetchResult result;
    const std::string& scheme = url.scheme();
    if (scheme != "http" && scheme != "https" && scheme != "file") {
        result.error = format("cannot fetch %s URLs", scheme.c_str());
        return result;
    }
    EasyHandle easy;
    if (!easy.h) {
        result.error = "libcurl could not start a transfer";
        return result;
    }
    Sink sink;
    sink.maxBytes = limits_.maxBytes;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    CURL* h = easy.h;
    curl_easy_setopt(h, CURLOPT_URL, url.absoluteString().c_str());
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https,file");
    curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(h, CURLOPT_MAXREDIRS, limits_.maxRedirects);
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, limits_.connectTimeoutMs);
    curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, limits_.totalTimeoutMs);
    curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits_.maxBytes));
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(h, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(h, CURLOPT_USERAGENT, "zeva/0.1 (libcurl)");
    curl_easy_setopt(h, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &writeBody);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink);

    CURLcode rc = curl_easy_perform(h);
    long status = 0;
    if (scheme != "file") curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
    result.status = status;
    if (rc == CURLE_OK) {
        result.text = std::make_shared<String>(std::move(sink.body));
        return result;
    }
    if (sink.overCap || rc == CURLE_FILESIZE_EXCEEDED) {
        result.error = "the reply is larger than " + std::to_string(limits_.maxBytes) + " bytes";
    } else if (rc == CURLE_HTTP_RETURNED_ERROR) {
        result.error = format("HTTP status %ld", status);
    } else if (rc == CURLE_OPERATION_TIMEDOUT) {
        result.error = format("timed out (%s)", errorBuffer[0] ? errorBuffer : curl_easy_strerror(rc));
    } else {
        result.error = errorBuffer[0] ? std::string(errorBuffer) : std::string(curl_easy_strerror(rc));
    }
    return result;
}

Ref<URLFetcher> sharedURLFetcher() { return SharedService<URLFetcher, CurlURLFetcher>::get(); }

Ref<URLFetcher> setSharedURLFetcher(Ref<URLFetcher> fetcher) {
    return SharedService<URLFetcher, CurlURLFetcher>::set(std::move(fetcher));
}

Ref<String> stringWithContentsOfURL(const URL& url) { return sharedURLFetcher()->fetchText(url).text; }

}  // namespace zeva
