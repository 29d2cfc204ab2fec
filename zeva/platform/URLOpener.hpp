// Opening a URL in the user's web browser, behind an interface that tests and
// hosts replace.
#pragma once

#include <string>

#include "zeva/platform/Object.hpp"
#include "zeva/platform/URL.hpp"

namespace zeva {

class URLOpener {
public:
    virtual ~URLOpener() = default;
    // Hands the URL to the browser; answers whether that worked.
    virtual bool openURL(const URL& url) = 0;
};

// Runs a program (xdg-open unless told otherwise, found on PATH) with the URL
// as its one argument, directly and without a shell, so nothing in the URL's
// text is ever interpreted. Only http and https URLs are opened. Waits for the
// program and answers true when it exits with status 0.
class ExternalURLOpener : public URLOpener {
public:
    explicit ExternalURLOpener(std::string program = "xdg-open") : program_(std::move(program)) {}
    bool openURL(const URL& url) override;
    const std::string& program() const { return program_; }

private:
    std::string program_;
};

// The opener the library uses unless told otherwise (an ExternalURLOpener at
// first). setSharedURLOpener installs another (null restores the default) and
// answers the previous one.
Ref<URLOpener> sharedURLOpener();
Ref<URLOpener> setSharedURLOpener(Ref<URLOpener> opener);

}  // namespace zeva
