// zeva origin: one origin built from flags, as the event feed builds them.
#include <cstdlib>
#include <optional>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/platform/FloatRange.hpp"

namespace {

using zeva::cli::UsageError;

int origin(const zeva::cli::Args& args) {
    auto o = ZEVAOrigin::create();
    std::string time, type = "M";
    std::optional<std::string> save;
    bool haveMagnitude = false;
    float magnitude = 0;
    zeva::cli::Options opts(args);
    std::string word;
    while (opts.next(word)) {
        if (word == "--time") zeva::cli::utcTimeText(time = opts.value(word), word);
        else if (word == "--lat") o->setLatitude(zeva::floatFromDouble(zeva::cli::latitude(opts.number(word), word)));
        else if (word == "--lon") o->setLongitude(zeva::floatFromDouble(zeva::cli::longitude(opts.number(word), word)));
        else if (word == "--depth") o->setDepth(zeva::floatFromDouble(zeva::cli::finite(opts.number(word), word)));
        else if (word == "--mag")
            haveMagnitude = true, magnitude = zeva::floatFromDouble(zeva::cli::finite(opts.number(word), word));
        else if (word == "--type") type = opts.value(word);
        else if (word == "--catalog") o->set_catalog(zeva::str(opts.value(word)));
        else if (word == "--contributor") o->set_contributor(zeva::str(opts.value(word)));
        else if (word == "--id") o->set_id(zeva::str(opts.value(word)));
        else if (word == "--save") zeva::cli::outputPath(*(save = opts.value(word)), word);
        else throw UsageError{"unknown argument: " + word};
    }
    if (!time.empty()) {
        // "2011-03-11T05:46:24.12Z" or the spaced form: the whole seconds are
        // read as a time text reads them, the fraction with all its digits.
        size_t point = time.find('.');
        double fraction = 0;
        std::string whole = time;
        if (point != std::string::npos) {
            size_t end = time.find_first_not_of("0123456789", point + 1);
            fraction = zeva::cli::readNumber(("0" + time.substr(point, end - point)).c_str(), nullptr);
            whole = time.substr(0, point);
        }
        auto parsed = ZEVATime::create();
        parsed->setDateTimeString(zeva::str(whole + ".0000Z"));
        if (!parsed->nsDate()) throw UsageError{"--time: not a date and time of the calendar: " + time};
        o->setOriginTime(zeva::Date::dateWithTimeIntervalSince1970(parsed->epochTime() + fraction));
    }
    if (haveMagnitude) o->addMagnitude_Type_Contrib(magnitude, zeva::str(type), o->_contributor());
    o->setFERegion();
    fmt::print("{}", o->description());
    fmt::print("region: {}\n", zeva::textOf(o->FERegion()));
    if (save && !o->saveAchivedToPath(*save)) {
        fmt::print(stderr, "zeva origin: could not write {}\n", *save);
        return 1;
    }
    return 0;
}

}  // namespace

ZEVA_COMMAND("origin", origin);
