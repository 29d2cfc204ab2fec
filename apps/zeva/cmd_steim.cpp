#include <climits>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

#include <fmt/core.h>
#include <fmt/printf.h>

#include "command.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/steim.h"

namespace {

// The file's bytes; false after saying why there are none.
bool slurp(const std::string& path, std::vector<unsigned char>& bytes) {
    std::string problem = zeva::cli::inputProblem(path);
    if (problem.empty()) {
        std::ifstream in(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (!in.bad()) return true;
        problem = path + " could not be read to its end";
    }
    fmt::print(stderr, "zeva steim: {}\n", problem);
    return false;
}

void decode(int encoding, const unsigned char* data, int32_t length, int8_t swap, int32_t samples) {
    // Samples a Steim-1 buffer does not hold stay 0, as Steim-2 pads them.
    std::vector<float> out(static_cast<size_t>(samples), 0.0f);
    if (encoding == 10)
        decodeSteimBuffer(data, length, swap, out.data(), samples);
    else
        decodeSteim2Buffer(data, length, swap, out.data(), samples);
    for (float v : out) fmt::printf("%.9g\n", static_cast<double>(v));
}

int frames(const std::string& path, long encoding, long samples, bool swap) {
    std::vector<unsigned char> bytes;
    if (!slurp(path, bytes)) return 1;
    if (bytes.size() > static_cast<size_t>(INT32_MAX)) {
        fmt::print(stderr, "zeva steim: {} is larger than a Steim buffer can be (2 GiB)\n", path);
        return 1;
    }
    decode(static_cast<int>(encoding), bytes.data(), static_cast<int32_t>(bytes.size()), swap ? 1 : 0,
           static_cast<int32_t>(samples));
    return 0;
}

int records(const std::string& path) {
    std::vector<unsigned char> bytes;
    if (!slurp(path, bytes)) return 1;
    zeva::miniseed::Contents c = zeva::miniseed::scanRecords(bytes.data(), bytes.size());
    if (c.records.empty()) {
        fmt::print(stderr, "zeva steim: {} is not a miniSEED file: no record found\n", path);
        return 1;
    }
    size_t problem = 0, decoded = 0;
    // Problems and records in file order, so messages stand where they occur.
    auto reportUpTo = [&](size_t offset) {
        for (; problem < c.problems.size() && c.problems[problem].offset < offset; problem++)
            fmt::print(stderr, "zeva steim: {}: bytes {} to {}: {}, skipped\n", path, c.problems[problem].offset,
                       c.problems[problem].offset + c.problems[problem].length, c.problems[problem].message);
    };
    for (const auto& r : c.records) {
        reportUpTo(r.offset);
        if (!r.isSteim()) {
            std::fflush(stdout);
            fmt::print(stderr, "zeva steim: {}: record {} at byte {}: encoding {} is not Steim, skipped\n", path,
                       r.source(), r.offset, r.encoding);
            continue;
        }
        decode(r.encoding, r.data, r.data_length, zeva::miniseed::swapFlagFor(r.little_endian), r.samples);
        decoded++;
    }
    std::fflush(stdout);
    reportUpTo(SIZE_MAX);
    if (decoded == 0) {
        fmt::print(stderr, "zeva steim: {}: none of its {} records is Steim-encoded\n", path, c.records.size());
        return 1;
    }
    return 0;
}

int steim(const zeva::cli::Args& args) {
    zeva::cli::Options options(args);
    std::optional<std::string> file, mseed;
    std::optional<long> encoding, samples;
    bool swap = false;
    std::string word;
    while (options.next(word)) {
        if (word == "--encoding")
            encoding = options.integer(word);
        else if (word == "--samples")
            samples = options.integer(word);
        else if (word == "--swap")
            swap = true;
        else if (word == "--mseed")
            mseed = options.value(word);
        else if (word.starts_with("--") || file)
            throw zeva::cli::UsageError{fmt::format("unexpected argument: {}", word)};
        else
            file = word;
    }
    if (mseed) {
        if (file || encoding || samples || swap)
            throw zeva::cli::UsageError{"--mseed takes a file and no other argument"};
        return records(*mseed);
    }
    if (!file) throw zeva::cli::UsageError{"expects a file of Steim frames"};
    if (!encoding || (*encoding != 10 && *encoding != 11))
        throw zeva::cli::UsageError{"--encoding must be 10 (Steim-1) or 11 (Steim-2)"};
    if (!samples || *samples < 0 || *samples > INT32_MAX)
        throw zeva::cli::UsageError{"--samples must give the number of samples (0 or more)"};
    return frames(*file, *encoding, *samples, swap);
}

}  // namespace

ZEVA_COMMAND("steim", steim);
