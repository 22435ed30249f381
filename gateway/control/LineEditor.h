#ifndef GATEWAY_CONTROL_LINEEDITOR_H
#define GATEWAY_CONTROL_LINEEDITOR_H

#include "gateway/control/Completion.h"
#include "gateway/control/TypedLines.h"

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace gateway {

/** What is done while nobody types. */
struct Meanwhile {
    int descriptor = -1;
    /** The events of poll() that are waited for. */
    std::function<short()> wanted{};
    /** One of them came. */
    std::function<void()> serve{};
};

/**
 * Lines that are typed at a terminal: standard input and output. As long as it exists, signals that
 * a terminal sends come as keys do. There is at most one.
 */
class LineEditor {
public:
    using Complete = std::function<Completion(std::string const& typed)>;

    LineEditor(TypedLines& history, Complete complete, Meanwhile meanwhile);
    ~LineEditor();
    LineEditor(LineEditor const&) = delete;
    LineEditor& operator=(LineEditor const&) = delete;

    /** The next line, without its end; nothing when there is none, or after stop(). */
    std::optional<std::string> read();

    /** Shows whole lines, above the one that is being typed. */
    void show(std::string const& text);

    /** Ends the reading. */
    void stop() { isStopped = true; }

private:
    struct Library;

    void bindKeys();
    void remember(std::string const& line);
    int nextCharacter(wchar_t& character);
    int takeByte(wchar_t& character);
    bool takeSignal();
    void takeBack();
    unsigned char completeLine(int key);
    unsigned char clearLine();

    TypedLines& history;
    Complete complete;
    Meanwhile meanwhile;
    std::unique_ptr<Library> library;
    sigset_t before{};
    int signals = -1;
    std::mbstate_t conversion{};
    bool isReading = false;
    bool isStopped = false;
};

} // namespace gateway

#endif
