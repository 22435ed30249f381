#include "gateway/control/LineEditor.h"

#include <histedit.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

char prompt[] = "mcgw> ";

/** The key whose binding clears the line: what Ctrl-C would be if it were no signal. */
constexpr wchar_t clearingKey = L'\x03';

sigset_t signalsOfTerminals() {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGCONT}) {
        sigaddset(&set, signal);
    }
    return set;
}

/** The editor behind a handle of the library. */
LineEditor& editorOf(EditLine* handle) {
    void* data = nullptr;
    el_get(handle, EL_CLIENTDATA, &data);
    return *static_cast<LineEditor*>(data);
}

std::size_t columns() {
    winsize size{};
    bool const isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isKnown ? size.ws_col : 80;
}

} // namespace

/** What the library's functions are called with. */
struct LineEditor::Library {
    Library() : line(el_init("mcgw", stdin, stdout, stderr)), lines(history_init()) {
        if (line == nullptr || lines == nullptr) {
            throw std::runtime_error("can't edit lines at this terminal");
        }
    }
    ~Library() {
        history_end(lines);
        el_end(line);
    }
    Library(Library const&) = delete;
    Library& operator=(Library const&) = delete;

    static char* promptOf(EditLine*) { return prompt; }
    static int getCharacter(EditLine* handle, wchar_t* character) {
        return editorOf(handle).nextCharacter(*character);
    }
    static unsigned char onTab(EditLine* handle, int key) {
        return editorOf(handle).completeLine(key);
    }
    static unsigned char onClear(EditLine* handle, int) { return editorOf(handle).clearLine(); }

    EditLine* line;
    ::History* lines;
};

LineEditor::LineEditor(TypedLines& typed, Complete toComplete, Meanwhile toServe)
    : history(typed),
      complete(std::move(toComplete)),
      meanwhile(std::move(toServe)),
      library(std::make_unique<Library>()) {
    sigset_t const set = signalsOfTerminals();
    signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signals < 0) {
        throw std::runtime_error("can't wait for signals");
    }
    pthread_sigmask(SIG_BLOCK, &set, &before);
    HistEvent event{};
    ::history(library->lines, &event, H_SETSIZE, static_cast<int>(TypedLines::most));
    for (std::string const& line : history.lines()) {
        remember(line);
    }
    bindKeys();
}

LineEditor::~LineEditor() {
    library.reset();
    while (takeSignal()) {
        // What came at the last moment is obeyed by leaving.
    }
    close(signals);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void LineEditor::bindKeys() {
    EditLine* const line = library->line;
    el_set(line, EL_CLIENTDATA, this);
    el_set(line, EL_PROMPT, &Library::promptOf);
    el_set(line, EL_EDITOR, "emacs");
    el_set(line, EL_HIST, &::history, library->lines);
    el_set(line, EL_GETCFN, &Library::getCharacter);
    el_set(line, EL_ADDFN, "mcgw-complete", "Completes the word", &Library::onTab);
    el_set(line, EL_ADDFN, "mcgw-clear", "Clears the line", &Library::onClear);
    el_set(line, EL_BIND, "^I", "mcgw-complete", nullptr);
    el_set(line, EL_BIND, "^C", "mcgw-clear", nullptr);
    el_set(line, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // What is typed between two lines waits for the next one, Ctrl-D too, and is shown only then.
    el_set(line, EL_SETTY, "-x", "-echo", "-icanon", nullptr);
}

void LineEditor::remember(std::string const& line) {
    HistEvent event{};
    ::history(library->lines, &event, H_ENTER, line.c_str());
}

std::optional<std::string> LineEditor::read() {
    int count = 0;
    isReading = true;
    // Before the prompt is there: whoever sees it may type.
    el_set(library->line, EL_PREP_TERM, 1);
    char const* const typed = isStopped ? nullptr : el_gets(library->line, &count);
    isReading = false;
    if (typed == nullptr || count <= 0 || isStopped) {
        std::fputc('\n', stdout);
        std::fflush(stdout);
        return std::nullopt;
    }
    std::string line(typed, static_cast<std::size_t>(count));
    line.erase(line.find_last_not_of("\r\n") + 1);
    std::size_t const known = history.lines().size();
    history.add(line);
    if (history.lines().size() != known) {
        remember(line);
    }
    return line;
}

/** The library asks for a key; what else comes is served until there is one. */
int LineEditor::nextCharacter(wchar_t& character) {
    while (!isStopped) {
        std::array<pollfd, 3> polled = {pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{signals, POLLIN, 0},
                                        pollfd{meanwhile.descriptor, meanwhile.wanted(), 0}};
        if (poll(polled.data(), polled.size(), -1) < 0) {
            continue;
        }
        if (polled[1].revents != 0 && takeSignal()) {
            character = clearingKey;
            return 1;
        }
        if (polled[2].revents != 0) {
            meanwhile.serve();
        }
        // What comes without a pause does not keep keys from being taken.
        if (polled[0].revents != 0 && !isStopped) {
            int const result = takeByte(character);
            if (result >= 0) {
                return result;
            }
        }
    }
    return 0;
}

/** @return 1 with a character, 0 at the end, -1 in the middle of one */
int LineEditor::takeByte(wchar_t& character) {
    char byte = 0;
    ssize_t const count = ::read(STDIN_FILENO, &byte, 1);
    if (count <= 0) {
        isStopped = count == 0 || errno != EINTR;
        return -1;
    }
    switch (std::mbrtowc(&character, &byte, 1, &conversion)) {
    case static_cast<std::size_t>(-1):
        conversion = {};
        return -1;
    case static_cast<std::size_t>(-2):
        return -1;
    default:
        return 1;
    }
}

/** @return whether the line is to be cleared */
bool LineEditor::takeSignal() {
    signalfd_siginfo caught{};
    if (::read(signals, &caught, sizeof caught) != sizeof caught) {
        return false;
    }
    switch (static_cast<int>(caught.ssi_signo)) {
    case SIGINT:
        return true;
    case SIGWINCH:
        el_resize(library->line);
        return false;
    case SIGCONT:
        el_set(library->line, EL_PREP_TERM, 1);
        el_set(library->line, EL_REFRESH);
        return false;
    default:
        stop();
        return false;
    }
}

/** Removes the prompt, and what is typed, from the terminal. */
void LineEditor::takeBack() {
    LineInfoW const* const typed = el_wline(library->line);
    std::size_t const width =
        sizeof prompt - 1 + static_cast<std::size_t>(typed->cursor - typed->buffer);
    std::size_t const rows = width / columns();
    if (rows != 0) {
        std::fprintf(stdout, "\x1b[%zuA", rows);
    }
    std::fputs("\r\x1b[J", stdout);
}

void LineEditor::show(std::string const& text) {
    if (isReading) {
        takeBack();
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    if (isReading) {
        el_set(library->line, EL_REFRESH);
    }
}

unsigned char LineEditor::completeLine(int key) {
    LineInfo const* const typed = el_line(library->line);
    std::string const line(typed->buffer, typed->cursor);
    if (line.rfind("call ", 0) == 0) {
        return _el_fn_complete(library->line, key);
    }
    Completion const completion = complete(line);
    if (!completion.insertion.empty()) {
        el_insertstr(library->line, completion.insertion.c_str());
        return CC_REFRESH;
    }
    if (completion.choices.empty()) {
        return CC_REFRESH_BEEP;
    }
    std::string choices;
    for (std::string const& choice : completion.choices) {
        choices += (choices.empty() ? "" : "  ") + choice;
    }
    show(choices + '\n');
    return CC_NORM;
}

unsigned char LineEditor::clearLine() {
    LineInfoW const* const typed = el_wline(library->line);
    int const length = static_cast<int>(typed->lastchar - typed->buffer);
    el_cursor(library->line, static_cast<int>(typed->lastchar - typed->cursor));
    el_deletestr(library->line, length);
    return CC_REFRESH;
}

} // namespace gateway
