#include "os/end_wish.hpp"
#include "tool/metrics_exporter.hpp"
#include "tool/sub_commands.hpp"

#include <iostream>
#include <memory>

namespace elvantris::operator_control {
namespace {

constexpr std::uint16_t usual_port = 5280;

tool_answer export_metrics(std::uint16_t port, const common_options& common) {
    const end_wish wish;
    metrics_exporter exporter(common.config_path);
    if (!exporter.start(port))
        return could_not_look("Port " + std::to_string(port) +
                              " of this computer can't be had; another program may use it. Give "
                              "another with --port.");
    // The answer comes at the end only.
    std::cerr << "The metrics are at http://127.0.0.1:" << port << "/metrics. Ctrl-C ends this."
              << std::endl;
    wish.wait();
    exporter.stop();
    const std::uint64_t scrapes = exporter.scrapes();
    return {.exit = tool_exit::all_well,
            .text = "The metrics were read " + std::to_string(scrapes) +
                    (scrapes == 1 ? " time.\n" : " times.\n"),
            .tree = {{"port", port}, {"scrapes", scrapes}}};
}

command_run prepare_metrics(CLI::App& parser) {
    const auto port = std::make_shared<std::uint16_t>(usual_port);
    parser.add_option("--port", *port, "Where the metrics are served, on 127.0.0.1")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    return [port](const common_options& common) { return export_metrics(*port, common); };
}

} // namespace

sub_command metrics_command() {
    return {.name = "metrics",
            .summary = "For a monitoring system: serve what the program says as figures",
            .details = "Runs until Ctrl-C and serves http://127.0.0.1:PORT/metrics in the text "
                       "format of Prometheus.\nEach request asks the program once; while it does "
                       "not run, elvantris_up is 0.",
            .prepare = prepare_metrics};
}

} // namespace elvantris::operator_control
