#include "common/platform/linux/Logind.hpp"

#include <dlfcn.h>
#include <systemd/sd-bus.h>

#include <cstring>
#include <memory>

namespace velloran::linuxfs {

namespace {

// sd-bus, loaded the first time a power action is asked for: linked, it and the
// libraries it needs would be loaded at every start of the program, a few
// milliseconds each time, for a call few runs make.
struct SdBus {
    decltype(&sd_bus_open_system) openSystem = nullptr;
    decltype(&sd_bus_new) create = nullptr;
    decltype(&sd_bus_set_address) setAddress = nullptr;
    decltype(&sd_bus_set_bus_client) setBusClient = nullptr;
    decltype(&sd_bus_start) start = nullptr;
    decltype(&sd_bus_unref) unref = nullptr;
    decltype(&sd_bus_flush_close_unref) flushCloseUnref = nullptr;
    decltype(&sd_bus_call_method) callMethod = nullptr;
    decltype(&sd_bus_error_free) errorFree = nullptr;
    decltype(&sd_bus_message_unref) messageUnref = nullptr;
    std::string error;  // why it could not be loaded

    SdBus() {
        void* lib = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!lib) {
            const char* why = dlerror();
            error = std::string("cannot load libsystemd.so.0: ") + (why ? why : "not found");
            return;
        }
        const bool all = Find(lib, "sd_bus_open_system", openSystem) &&
                         Find(lib, "sd_bus_new", create) &&
                         Find(lib, "sd_bus_set_address", setAddress) &&
                         Find(lib, "sd_bus_set_bus_client", setBusClient) &&
                         Find(lib, "sd_bus_start", start) && Find(lib, "sd_bus_unref", unref) &&
                         Find(lib, "sd_bus_flush_close_unref", flushCloseUnref) &&
                         Find(lib, "sd_bus_call_method", callMethod) &&
                         Find(lib, "sd_bus_error_free", errorFree) &&
                         Find(lib, "sd_bus_message_unref", messageUnref);
        if (!all) error = "libsystemd.so.0 lacks the sd-bus calls Velloran needs";
    }

    template <class F>
    static bool Find(void* lib, const char* name, F& out) {
        out = reinterpret_cast<F>(dlsym(lib, name));
        return out != nullptr;
    }

    // Loaded once, kept for the life of the program.
    static const SdBus& Get() {
        static const SdBus bus;
        return bus;
    }
};

int OpenBus(const SdBus& sd, const std::string& address, sd_bus** out) {
    if (address.empty()) return sd.openSystem(out);
    sd_bus* bus = nullptr;
    int r = sd.create(&bus);
    if (r < 0) return r;
    if ((r = sd.setAddress(bus, address.c_str())) >= 0 && (r = sd.setBusClient(bus, 1)) >= 0 &&
        (r = sd.start(bus)) >= 0) {
        *out = bus;
        return r;
    }
    sd.unref(bus);
    return r;
}

}  // namespace

bool RequestPowerAction(PowerAction action, const std::string& busAddress, std::string* error) {
    const SdBus& sd = SdBus::Get();
    if (!sd.error.empty()) {
        if (error) *error = sd.error;
        return false;
    }
    sd_bus* raw = nullptr;
    int r = OpenBus(sd, busAddress, &raw);
    if (r < 0) {
        if (error) *error = std::string("cannot reach the system bus: ") + std::strerror(-r);
        return false;
    }
    const auto close = [&sd](sd_bus* bus) { sd.flushCloseUnref(bus); };
    std::unique_ptr<sd_bus, decltype(close)> bus(raw, close);
    sd_bus_error busError = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const char* method = action == PowerAction::PowerOff ? "PowerOff" : "Reboot";
    r = sd.callMethod(bus.get(), "org.freedesktop.login1", "/org/freedesktop/login1",
                      "org.freedesktop.login1.Manager", method, &busError, &reply, "b", 0);
    if (r < 0 && error) *error = busError.message ? busError.message : std::strerror(-r);
    sd.errorFree(&busError);
    sd.messageUnref(reply);
    return r >= 0;
}

}  // namespace velloran::linuxfs
