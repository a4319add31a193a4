// pvctl convert: the raw bytes of an image into a picture that every program opens.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>

#include "tools/pvctl/raw_image.h"

namespace pvctl {

/// The command with its options, added to an app; run() does what the parsed ones ask.
class ConvertCommand {
public:
    explicit ConvertCommand(CLI::App& app);

    /// Throws std::runtime_error with what went wrong.
    void run() const;

private:
    struct Options {
        RawImage source;
        std::string output;
        std::string type;
        std::string destination;
        std::string bayer = "3x3";
    };

    std::shared_ptr<Options> options_;  // at a place that the app's options point to
};

}  // namespace pvctl
