// A process-wide service object that hosts and tests may replace: the
// fetcher, the browser opener. Made on first use from Default.
#pragma once

#include <memory>
#include <mutex>

namespace zeva {

template <class Interface, class Default>
class SharedService {
public:
    static std::shared_ptr<Interface> get() {
        std::lock_guard lock(mutex());
        auto& s = slot();
        if (!s) s = std::make_shared<Default>();
        return s;
    }

    // Installs a service (null brings back the default) and answers the one
    // it replaces.
    static std::shared_ptr<Interface> set(std::shared_ptr<Interface> service) {
        std::lock_guard lock(mutex());
        auto& s = slot();
        std::shared_ptr<Interface> previous = s ? s : std::make_shared<Default>();
        s = std::move(service);
        return previous;
    }

private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::shared_ptr<Interface>& slot() {
        static std::shared_ptr<Interface> s;
        return s;
    }
};

}  // namespace zeva
