// The module object: one per loaded DLL. It counts what keeps the DLL loaded, owns the class table with its cached
// class factories, and runs what must run before the DLL goes.
#pragma once

#include <atomic>
#include <span>
#include <vector>

#include "server/com.h"
#include "server/lock.h"

namespace vex::server {

/// One class of the class table.
struct ClassEntry {
    const CLSID* clsid;
    const wchar_t* name;
    const wchar_t* prog_id;
    UINT script;  // resource of the registration script
    /// Creates an instance, aggregated when there is an outer object, and queries it.
    HRESULT (*create)(IUnknown* outer, REFIID iid, void** object) noexcept;
    /// Called with true when the module loads and with false when it unloads.
    void (*initialise)(bool loading) noexcept;
    IClassFactory* factory = nullptr;  // made on first request, then kept until the module unloads
};

/// Thread safety: every member may be called from any thread, except load() and unload(), which the loader calls.
class Module {
public:
    constexpr Module() noexcept = default;

    /// Takes the class table over; it must outlive the module.
    void load(HINSTANCE instance, std::span<ClassEntry> classes) noexcept;
    /// Releases what the module caches. Nothing of the module may be used afterwards.
    void unload() noexcept;

    /// The DLL's handle.
    [[nodiscard]] HINSTANCE instance() const noexcept { return instance_; }
    [[nodiscard]] std::span<ClassEntry> classes() const noexcept { return classes_; }

    /// Live objects and LockServer(TRUE) calls keep the DLL loaded.
    void lock() noexcept { locks_.fetch_add(1, std::memory_order_relaxed); }
    void unlock() noexcept { locks_.fetch_sub(1, std::memory_order_release); }
    [[nodiscard]] LONG lock_count() const noexcept { return locks_.load(std::memory_order_acquire); }

    /// The class factory of a class, with a reference for the caller. CLASS_E_CLASSNOTAVAILABLE for a class that is not
    /// in the table.
    HRESULT class_object(REFCLSID clsid, REFIID iid, void** object) noexcept;

    /// Guards the lazy loading of type information.
    [[nodiscard]] Lock& type_info_lock() noexcept { return type_info_lock_; }

    /// Has callback(context) called when the module unloads. E_OUTOFMEMORY when it cannot be noted.
    HRESULT at_unload(void (*callback)(void*) noexcept, void* context) noexcept;

    /// Whether an interface pointer's methods are this module's own code. False for null.
    [[nodiscard]] static bool implements(const void* object) noexcept;

private:
    struct Termination {
        void (*callback)(void*) noexcept;
        void* context;
    };

    HINSTANCE instance_ = nullptr;
    std::span<ClassEntry> classes_;
    std::atomic<LONG> locks_{0};
    Lock factories_lock_;
    Lock type_info_lock_;
    Lock terminations_lock_;
    std::vector<Termination> terminations_;
};

[[nodiscard]] Module& module() noexcept;

/// Keeps the DLL loaded while it lives.
class ModuleLock {
public:
    ModuleLock() noexcept { module().lock(); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;
    ~ModuleLock() { module().unlock(); }
};

}  // namespace vex::server
