// Runs a test under a named C locale (LC_ALL), restoring the previous one
// afterwards. A missing locale is generated with localedef where the locale
// sources are installed, before setlocale first asks for it: glibc keeps the
// locale archive it has read and would not see a locale added later.
#pragma once

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace zeva::test {

class ScopedLocale {
public:
    explicit ScopedLocale(const std::string& name) : saved_(std::setlocale(LC_ALL, nullptr)) {  // "de_DE.UTF-8"
        std::string source = name.substr(0, name.find('.'));
        if (std::system(("locale -a 2>/dev/null | grep -qix '" + source + "\\.utf-\\?8'").c_str()) != 0 &&
            std::filesystem::exists("/usr/share/i18n/locales/" + source))
            (void)std::system(("localedef -i " + source + " -f UTF-8 " + name + " >/dev/null 2>&1").c_str());
        active_ = std::setlocale(LC_ALL, name.c_str()) != nullptr;
    }
    ~ScopedLocale() { std::setlocale(LC_ALL, saved_.c_str()); }
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;
    bool active() const { return active_; }

private:
    std::string saved_;
    bool active_ = false;
};

}  // namespace zeva::test
