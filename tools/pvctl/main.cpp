// pvctl: cameras and their images on the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

#include "tools/pvctl/convert_command.h"
#include "tools/pvctl/discover_command.h"

int main(int argc, char** argv)
{
    CLI::App app{"pvctl: cameras and their images on the command line"};
    app.require_subcommand(1);
    const pvctl::DiscoverCommand discover(app);
    const pvctl::ConvertCommand convert(app);
    CLI11_PARSE(app, argc, argv);

    try {
        for (const pvctl::Command* command :
             {static_cast<const pvctl::Command*>(&discover), static_cast<const pvctl::Command*>(&convert)}) {
            if (command->is_chosen()) {
                return command->run();
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pvctl: %s\n", error.what());
    }
    return 1;
}
