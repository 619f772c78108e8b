// Owns one loaded module: its handle, and its functions once all of them are bound. It frees the module when it goes.
// Any thread may call the functions; only the thread of a settings export assigns.
#ifndef TARN_MODULES_LOADED_MODULE_H
#define TARN_MODULES_LOADED_MODULE_H

#include <type_traits>
#include <utility>

#include "base/assert.h"
#include "machine/module_system.h"

namespace tarn::modules {

// Module: one of the structs of companion_table.h.
template <class Module>
class LoadedModule {
 public:
    LoadedModule() = default;
    // Loads the file and binds its functions, all or nothing.
    LoadedModule(machine::ModuleSystem& system, const char16_t* path) : system_(&system), handle_(system.Load(path)) {
        if (handle_ == nullptr) return;
        loaded_ = Bind();
        if (!loaded_) Free();
    }
    // Functions of this program: nothing is freed.
    LoadedModule(const Module& linked) : functions_(linked), loaded_(true) {}
    LoadedModule(LoadedModule&& other) noexcept { Swap(other); }
    LoadedModule& operator=(LoadedModule&& other) noexcept {
        LoadedModule taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~LoadedModule() { Free(); }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    [[nodiscard]] explicit operator bool() const { return loaded_; }
    // Only of a loaded module.
    [[nodiscard]] Module* operator->() {
        TARN_ASSERT(loaded_);
        return &functions_;
    }
    [[nodiscard]] const Module* operator->() const {
        TARN_ASSERT(loaded_);
        return &functions_;
    }

 private:
    // Each pointer is asked for in turn; the first missing one ends it.
    bool Bind() {
        return Module::VisitSlots(functions_, [this](const char* name, auto& slot) {
            slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(system_->Find(handle_, name));
            if constexpr (requires { Module::kMayBeMissing; })
                return slot != nullptr || name == Module::kMayBeMissing;
            else
                return slot != nullptr;
        });
    }
    void Free() {
        if (handle_ != nullptr) system_->Free(handle_);
        functions_ = {};
        handle_ = nullptr;
        loaded_ = false;
    }
    void Swap(LoadedModule& other) noexcept {
        std::swap(functions_, other.functions_);
        std::swap(system_, other.system_);
        std::swap(handle_, other.handle_);
        std::swap(loaded_, other.loaded_);
    }

    Module functions_{};
    machine::ModuleSystem* system_ = nullptr;
    void* handle_ = nullptr;
    bool loaded_ = false;
};

}  // namespace tarn::modules

#endif
