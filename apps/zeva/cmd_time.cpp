#include <cctype>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/platform/Format.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace {

// "2009152T140312": seven digits of year and day of the year, then the "T".
bool isOrdinalForm(const std::string& text) {
    if (text.size() < 8 || text[7] != 'T') return false;
    for (size_t i = 0; i < 7; ++i)
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
    return true;
}

int timeCommand(const zeva::cli::Args& args) {
    if (args.size() != 1) throw zeva::cli::UsageError{"expects one time text"};
    const std::string& text = args[0];
    zeva::cli::utcTimeText(text, "time");
    auto time = ZEVATime::create();
    if (isOrdinalForm(text)) {
        time->set_date_time(zeva::str(text));
        time->convert_YDOY_to_YMDate();
        time->cleanDateTimeString();
    } else {
        time->setDateTimeString(zeva::str(text));
    }
    if (!time->nsDate()) throw zeva::cli::UsageError{"not a date and time of the calendar: " + text};
    fmt::print("UTC:           {}\nepoch seconds: {}\nlocal year:    {}\nlocal month:   {}\nlocal day:     {}\n",
               time->description(), zeva::format("%.4f", time->epochTime()), time->year(), time->month(),
               time->date());
    return 0;
}

}  // namespace

ZEVA_COMMAND("time", timeCommand);
