// Nodes that depend on each other, and who hears of their changes.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/sdk/genapi/memory_port.h"

inline std::string feature(std::string_view name, std::string_view inside = "", std::string_view value = "R")
{
    return "<Integer Name=\"" + std::string(name) + "\">" + std::string(inside) + "<pValue>" + std::string(value) +
           "</pValue></Integer>";
}

inline std::string knife(std::string_view name, std::string_view variable, std::string_view formula)
{
    return "<IntSwissKnife Name=\"" + std::string(name) + "\"><pVariable Name=\"V\">" + std::string(variable) +
           "</pVariable><Formula>" + std::string(formula) + "</Formula></IntSwissKnife>";
}

/// Counts the calls of a node's change callback.
class Watch {
public:
    explicit Watch(GenApi::INode& node) : node_(&node), id_(node.on_change([this](GenApi::INode&) { ++count; })) {}
    ~Watch() { node_->remove_callback(id_); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    int count = 0;

private:
    GenApi::INode* node_;
    GenApi::CallbackId id_;
};
