#include "os/clock.hpp"
#include "os/file_paths.hpp"
#include "tool/bundle_collection.hpp"
#include "tool/local_time.hpp"
#include "tool/new_file.hpp"

#include <memory>

namespace elvantris::operator_control {
namespace {

struct bundle_options {
    std::string path;
    bool with_payloads = false;
};

tool_answer write_bundle(const bundle_options& asked, const common_options& common) {
    // Before anything is collected, which takes a while.
    if (path_exists(asked.path))
        return could_not_look(new_file_sentence(new_file_outcome::exists, asked.path));
    const support_bundle bundle = collect_bundle(common, asked.with_payloads);
    const std::int64_t now = wall_clock_ms();
    const auto archive = write_zip(entries_of(bundle), local_date(now), local_clock(now));
    if (!archive) return could_not_look("The computer has no memory left for this.");
    const new_file_outcome outcome = write_new_file(asked.path, *archive);
    if (outcome != new_file_outcome::written)
        return could_not_look(new_file_sentence(outcome, asked.path));
    return answer_bundle(bundle, asked.path, archive->size());
}

command_run prepare_bundle(CLI::App& parser) {
    const auto asked = std::make_shared<bundle_options>();
    parser.add_option("FILE", asked->path, "The zip file to write; there must be none yet")
        ->required()
        ->check([](const std::string& path) {
            return path.empty() ? std::string("a name is needed") : std::string();
        });
    parser.add_flag("--with-payloads", asked->with_payloads,
                    "Include what the commands send; it may hold passwords");
    return [asked](const common_options& common) { return write_bundle(*asked, common); };
}

} // namespace

sub_command bundle_command() {
    return {.name = "bundle",
            .summary = "For support: logs, settings, status and findings in one zip file",
            .details =
                "Collects the ends of both logs, both settings files, the program's status, "
                "what check and doctor find, versions and facts of this computer.\nPayloads of "
                "commands are masked unless --with-payloads is given. contents.txt in it says "
                "what is there.\nNothing but FILE is written. What could not be included is a "
                "finding.",
            .prepare = prepare_bundle};
}

} // namespace elvantris::operator_control
