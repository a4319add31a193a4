// pvctl convert: the raw bytes of an image into a picture that every program opens.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/pvctl/command.h"
#include "tools/pvctl/raw_image.h"

namespace pvctl {

class ConvertCommand final : public Command {
public:
    explicit ConvertCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        RawImage source;
        std::string output;
        std::string type;
        std::string destination;
        std::string bayer = "3x3";
        bool json = false;
    };

    ConvertCommand(CLI::App& command, std::unique_ptr<Options> options);
    void tell(const std::string& type) const;

    std::unique_ptr<Options> options_;  // at a place that the app's options point to
};

}  // namespace pvctl
