#include <fmt/core.h>

#include "command.hpp"
#include "zeva/platform/Description.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace {

int describe(const zeva::cli::Args& args) {
    if (args.size() != 1) throw zeva::cli::UsageError{"expects one archive file"};
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

ZEVA_COMMAND("describe", "FILE", "restore a keyed archive and print its root object's description", describe);
