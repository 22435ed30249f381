#include "gateway/capture/CaptureTap.h"

#include "gateway/Text.h"

#include <csignal>
#include <stdexcept>

namespace gateway {

CaptureTap::CaptureTap(std::string const& path)
    : writer(path),
      dayAtStart(std::chrono::system_clock::now().time_since_epoch()),
      start(std::chrono::steady_clock::now()) {}

void CaptureTap::carried(imc_msg const& message) {
    guarded([&] { writer.write(message, now()); });
}

void CaptureTap::refused(imc_msg const& message, std::string const& reason) {
    guarded([&] { writer.writeRefused(message, now(), reason); });
}

void CaptureTap::received(imc_msg const& message) {
    guarded([&] { writer.write(message, now()); });
}

template <typename Write>
void CaptureTap::guarded(Write write) {
    if (!fault.empty()) {
        ++missed;
        return;
    }
    try {
        write();
    } catch (std::exception const& error) {
        fault = error.what();
        ++missed;
    }
}

void CaptureTap::end() {
    if (!fault.empty()) {
        throw std::runtime_error(fault + "; " + plural(missed, "message") + " not recorded");
    }
    writer.end(now(), missed);
}

std::chrono::nanoseconds CaptureTap::now() const {
    return dayAtStart + (std::chrono::steady_clock::now() - start);
}

std::unique_ptr<CaptureTap> startCapture(std::string const& path) {
    if (path.empty()) {
        return nullptr;
    }
    if (path == "-") {
        throw std::invalid_argument("capture -: the standard output is for the report");
    }
    // Whoever reads a named pipe may leave: that ends the capture, not the calls.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return std::make_unique<CaptureTap>(path);
    } catch (std::runtime_error const& error) {
        throw std::invalid_argument(error.what());
    }
}

} // namespace gateway
