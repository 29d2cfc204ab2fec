#include <fstream>
#include <string>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/platform/Description.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace {

int describe(const zeva::cli::Args& args) {
    if (args.size() != 1) throw zeva::cli::UsageError{"expects one archive file"};
    const std::string& path = args[0];
    if (std::string problem = zeva::cli::inputProblem(path); !problem.empty()) {
        fmt::print(stderr, "zeva describe: {}\n", problem);
        return 1;
    }
    // A keyed archive is a property list, binary or XML: anything else is
    // named as such before a parser's word on it.
    std::string head(64, '\0');
    {
        std::ifstream in(path, std::ios::binary);
        in.read(head.data(), static_cast<std::streamsize>(head.size()));
        head.resize(static_cast<size_t>(in.gcount()));
    }
    const size_t start = head.find_first_not_of(" \t\r\n");
    const bool xml = head.starts_with("\xEF\xBB\xBF<") || (start != std::string::npos && head[start] == '<');
    if (!head.starts_with("bplist") && !xml) {
        fmt::print(stderr, "zeva describe: {} is not a keyed archive (neither a binary nor an XML property list)\n",
                   path);
        return 1;
    }
    std::string error;
    zeva::ObjectRef root = zeva::unarchiveObjectWithFile(args[0], &error);
    if (!root) {
        if (error.empty()) error = "the archive's root object is null";
        fmt::print(stderr, "zeva describe: {}\n", error);
        return 1;
    }
    auto text = zeva::describeGraph(*root);
    zeva::releaseGraph(root);  // cycles included
    if (!text) {
        fmt::print(stderr, "zeva describe: {}: the description is longer than {} bytes; nothing printed\n", args[0],
                   zeva::kDescriptionLimit);
        return 1;
    }
    fmt::print("{}\n", *text);
    return 0;
}

}  // namespace

ZEVA_COMMAND("describe", describe);
