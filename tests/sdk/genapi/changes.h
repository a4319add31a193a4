// Who hears of the changes of nodes.
#pragma once

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

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
