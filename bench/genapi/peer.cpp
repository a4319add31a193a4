#include "bench/genapi/peer.h"

#include <arv.h>

#include <stdexcept>

namespace bench {

namespace {

[[noreturn]] void fail(const std::string& what, GError* error)
{
    const std::string why = error != nullptr ? error->message : "for no reason given";
    g_clear_error(&error);
    throw std::runtime_error("libaravis: " + what + ": " + why);
}

ArvDevice* open_device(const std::string& address)
{
    GError* error = nullptr;
    GInetAddress* const here = g_inet_address_new_from_string("127.0.0.1");
    GInetAddress* const there = g_inet_address_new_from_string(address.c_str());
    ArvDevice* const device = arv_gv_device_new(here, there, &error);
    g_object_unref(here);
    g_object_unref(there);
    if (device == nullptr) {
        fail("no connection to " + address, error);
    }
    return device;
}

}  // namespace

void peer_load(const std::string& xml)
{
    ArvGc* const description = arv_gc_new(nullptr, const_cast<char*>(xml.data()), xml.size());
    const bool loaded = description != nullptr && arv_gc_get_node(description, "Root") != nullptr;
    if (description != nullptr) {
        g_object_unref(description);
    }
    if (!loaded) {
        fail("a description cannot be read", nullptr);
    }
}

void peer_open(const std::string& address)
{
    ArvDevice* const device = open_device(address);
    const bool has_features = arv_device_get_feature(device, "Root") != nullptr;
    g_object_unref(device);
    if (!has_features) {
        fail("a camera has no features", nullptr);
    }
}

struct PeerCamera::Contents {
    ArvDevice* device = nullptr;
    ArvGc* description = nullptr;
};

PeerCamera::PeerCamera(const std::string& address, const std::string& xml) : contents_(std::make_unique<Contents>())
{
    contents_->device = open_device(address);
    contents_->description = arv_gc_new(contents_->device, const_cast<char*>(xml.data()), xml.size());
    if (contents_->description == nullptr) {
        g_object_unref(contents_->device);
        fail("the description cannot be read", nullptr);
    }
    arv_gc_set_register_cache_policy(contents_->description, ARV_REGISTER_CACHE_POLICY_ENABLE);
}

PeerCamera::~PeerCamera()
{
    g_object_unref(contents_->description);
    g_object_unref(contents_->device);
}

std::uint32_t PeerCamera::read_register(std::uint32_t address)
{
    GError* error = nullptr;
    guint32 value = 0;
    if (!arv_device_read_register(contents_->device, address, &value, &error)) {
        fail("a register cannot be read", error);
    }
    return value;
}

std::int64_t PeerCamera::integer(const char* feature)
{
    GError* error = nullptr;
    ArvGcNode* const node = arv_gc_get_node(contents_->description, feature);
    if (node == nullptr || !ARV_IS_GC_INTEGER(node)) {
        fail(std::string("there is no integer ") + feature, nullptr);
    }
    const gint64 value = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error);
    if (error != nullptr) {
        fail(std::string(feature) + " cannot be read", error);
    }
    return value;
}

}  // namespace bench
