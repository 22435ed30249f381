#ifndef HOST_CONFIGURATIONFILE_H
#define HOST_CONFIGURATIONFILE_H

#include "host/Counters.h"
#include "host/config/Configuration.h"
#include "host/debug/Log.h"
#include "host/imc/Dispatcher.h"

#include <functional>
#include <memory>
#include <string>

namespace host {

/**
 * The configuration file: reads it and watches it. Its contents are compared in short intervals, as
 * a task of the loop, which sees every change whatever an editor does to the file's name and time.
 * A change is taken when the file stood still for one interval, so that a file that is being
 * written is not read in the middle.
 */
class ConfigurationFile {
public:
    using OwnSid = std::function<unsigned char()>;
    using Take = std::function<void(Configuration const&)>;

    /**
     * All references have to outlive this object.
     * @param ownSid answers the IMC address of this process, which no board may have
     * @param take is handed what a good file says
     */
    ConfigurationFile(Dispatcher& dispatcher, Log& log, Counters& counters, OwnSid ownSid,
                      Take take);
    ~ConfigurationFile();
    ConfigurationFile(ConfigurationFile const&) = delete;
    ConfigurationFile& operator=(ConfigurationFile const&) = delete;

    /**
     * Reads the file and watches it instead of the one before.
     * @throw std::runtime_error when it is bad or can't be read; the one before stays watched
     */
    void load(std::string const& path);

    /** Watches no file. */
    void forget();

private:
    struct Watch;

    Configuration parse(Watch const& file) const;
    void schedule();
    void poll();
    /** Takes or refuses a change; a refusal is logged and counted. */
    void change();

    Dispatcher& dispatcher;
    Log& log;
    Counters& counters;
    OwnSid ownSid;
    Take take;
    std::shared_ptr<Watch> watch;
};

} // namespace host

#endif
