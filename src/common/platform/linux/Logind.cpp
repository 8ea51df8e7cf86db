#include "common/platform/linux/Logind.hpp"

#include <systemd/sd-bus.h>

#include <cstring>
#include <memory>

namespace velloran::linuxfs {

namespace {

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};

int OpenBus(const std::string& address, sd_bus** out) {
    if (address.empty()) return sd_bus_open_system(out);
    sd_bus* bus = nullptr;
    int r = sd_bus_new(&bus);
    if (r < 0) return r;
    if ((r = sd_bus_set_address(bus, address.c_str())) >= 0 &&
        (r = sd_bus_set_bus_client(bus, 1)) >= 0 && (r = sd_bus_start(bus)) >= 0) {
        *out = bus;
        return r;
    }
    sd_bus_unref(bus);
    return r;
}

}  // namespace

bool RequestPowerAction(PowerAction action, const std::string& busAddress, std::string* error) {
    sd_bus* raw = nullptr;
    int r = OpenBus(busAddress, &raw);
    if (r < 0) {
        if (error) *error = std::string("cannot reach the system bus: ") + std::strerror(-r);
        return false;
    }
    std::unique_ptr<sd_bus, BusCloser> bus(raw);
    sd_bus_error busError = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const char* method = action == PowerAction::PowerOff ? "PowerOff" : "Reboot";
    r = sd_bus_call_method(bus.get(), "org.freedesktop.login1", "/org/freedesktop/login1",
                           "org.freedesktop.login1.Manager", method, &busError, &reply, "b", 0);
    if (r < 0 && error) *error = busError.message ? busError.message : std::strerror(-r);
    sd_bus_error_free(&busError);
    sd_bus_message_unref(reply);
    return r >= 0;
}

}  // namespace velloran::linuxfs
