#pragma once

#include <utility>

#include "quarn/core/api.h"

namespace Quarn {

/// A process-wide service: `class T : public Manager<T>`. The first `Get` creates it; `Delete` destroys it, and the
/// next `Get` creates a new one. Not thread-safe.
template <class T> class QUARN_API Manager {
public:
    static T& Get() {
        if (!s_instance) s_instance = new T;
        return *s_instance;
    }
    static void Delete() { delete std::exchange(s_instance, nullptr); }
    static bool Exists() { return s_instance != nullptr; }

    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

protected:
    Manager() = default;
    ~Manager() = default;

private:
    inline static T* s_instance = nullptr;
};

} // namespace Quarn
