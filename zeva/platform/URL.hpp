// URLs as objects, and the fetching of the text behind one.
//
// URL::URLWithString checks a text strictly and answers null for anything
// that is not an absolute URL (a scheme, and only characters a URL may hold,
// with well-formed percent escapes). URL::URLWithStringAddingPercentEscapes
// first escapes what a URL does not accept (blanks, quotation marks, bytes
// outside ASCII, a lone '%') and then checks.
//
// Fetching goes through the URLFetcher interface so that tests and hosts can
// replace it; CurlURLFetcher is the real one (http, https and file URLs). The
// text of a fetch is the body byte for byte: bytes outside 7-bit ASCII are
// kept as they are, never replaced and never a reason to fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zeva/platform/Object.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

class URL : public Object {
public:
    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    // Null when the text is not a valid absolute URL.
    static Ref<URL> URLWithString(std::string_view text);
    static Ref<URL> URLWithString(const Ref<String>& text) { return text ? URLWithString(text->str()) : nullptr; }
    // Percent-escapes the characters a URL does not accept, then checks.
    static Ref<URL> URLWithStringAddingPercentEscapes(std::string_view text);
    // A file URL for a local path; a relative path is taken from the current
    // directory. Null for an empty path.
    static Ref<URL> fileURLWithPath(std::string_view path);

    const std::string& absoluteString() const { return text_; }
    // The scheme in lower case ("http"), the host ("" for file URLs) and the
    // path ("/" when the URL has none).
    const std::string& scheme() const { return scheme_; }
    const std::string& host() const { return host_; }
    const std::string& path() const { return path_; }
    bool isFileURL() const { return scheme_ == "file"; }

    std::string description() const override { return text_; }

private:
    std::string text_, scheme_, host_, path_;
};

// The text with every byte a URL does not accept written as %XX: blanks,
// controls, bytes outside ASCII, "<>\"{}|\\^`", brackets outside the host and
// a '%' that does not start a two-digit escape. Characters that have a
// meaning in URLs ("/?#&=+:;@,") are left alone.
std::string addPercentEscapes(std::string_view text);

// The outcome of one fetch: the text, or null and the reason.
struct FetchResult {
    Ref<String> text;   // null when the fetch failed
    std::string error;  // why it failed ("" on success)
    long status = 0;    // the HTTP status of the last response, 0 for file URLs and failures before a reply

    bool ok() const { return text != nullptr; }
};

class URLFetcher {
public:
    virtual ~URLFetcher() = default;
    // Fetches the whole text behind the URL, synchronously.
    virtual FetchResult fetchText(const URL& url) = 0;
};

struct FetchLimits {
    long connectTimeoutMs = 10'000;
    long totalTimeoutMs = 60'000;
    size_t maxBytes = 32u << 20;  // a larger body fails instead of filling memory
    long maxRedirects = 8;
};

// libcurl. http and https follow redirects (to http or https only); file
// URLs read local files. A refused connection, a timeout, an HTTP status of
// 400 or more, a body over maxBytes and a missing file are failures.
class CurlURLFetcher : public URLFetcher {
public:
    explicit CurlURLFetcher(FetchLimits limits = {});
    FetchResult fetchText(const URL& url) override;
    const FetchLimits& limits() const { return limits_; }

private:
    FetchLimits limits_;
};

// The fetcher the library uses unless told otherwise (a CurlURLFetcher with
// the default limits at first). setSharedURLFetcher installs another (null
// restores the default) and answers the previous one.
Ref<URLFetcher> sharedURLFetcher();
Ref<URLFetcher> setSharedURLFetcher(Ref<URLFetcher> fetcher);

// Shorthand: the text behind the URL through the shared fetcher, null on failure.
Ref<String> stringWithContentsOfURL(const URL& url);

}  // namespace zeva
