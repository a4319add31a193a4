#include "server/module.h"

#include <cstdint>
#include <mutex>

#include "server/class_factory.h"
#include "server/wall.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // the linker's name for where this module is loaded

namespace vex::server {

namespace {

constinit Module the_module;

}  // namespace

Module& module() noexcept { return the_module; }

void Module::load(HINSTANCE instance, std::span<ClassEntry> classes) noexcept
{
    instance_ = instance;
    classes_ = classes;
    for (const ClassEntry& entry : classes_) {
        entry.initialise(true);
    }
}

void Module::unload() noexcept
{
    for (const ClassEntry& entry : classes_) {
        entry.initialise(false);
    }
    for (const Termination& termination : terminations_) {
        termination.callback(termination.context);
    }
    terminations_.clear();
    for (ClassEntry& entry : classes_) {
        if (entry.factory != nullptr) {
            entry.factory->Release();
            entry.factory = nullptr;
        }
    }
    classes_ = {};
}

HRESULT Module::class_object(REFCLSID clsid, REFIID iid, void** object) noexcept
{
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    for (ClassEntry& entry : classes_) {
        if (*entry.clsid != clsid) {
            continue;
        }
        return guarded([&] {
            const std::lock_guard lock(factories_lock_);
            if (entry.factory == nullptr) {
                entry.factory = new ClassFactory(entry);
            }
            return entry.factory->QueryInterface(iid, object);
        });
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT Module::at_unload(void (*callback)(void*) noexcept, void* context) noexcept
{
    return guarded([&] {
        const std::lock_guard lock(terminations_lock_);
        terminations_.push_back({callback, context});
        return S_OK;
    });
}

bool Module::implements(const void* object) noexcept
{
    if (object == nullptr) {
        return false;
    }
    const auto base = reinterpret_cast<std::uintptr_t>(&__ImageBase);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + static_cast<unsigned>(__ImageBase.e_lfanew));
    const std::uintptr_t methods = *static_cast<const std::uintptr_t*>(object);
    return methods - base < headers->OptionalHeader.SizeOfImage;
}

}  // namespace vex::server
