// pvctl: cameras and their images on the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

#include "tools/pvctl/convert_command.h"

int main(int argc, char** argv)
{
    CLI::App app{"pvctl: cameras and their images on the command line"};
    app.require_subcommand(1);
    const pvctl::ConvertCommand convert(app);
    CLI11_PARSE(app, argc, argv);

    try {
        convert.run();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pvctl: %s\n", error.what());
        return 1;
    }
}
