// serve: the live view of the board in a browser, until interrupted.
#include <csignal>
#include <cstdio>
#include <string>

#include "commands.h"
#include "output.h"
#include "session.h"

#if APPLETCTL_SERVE
#include <pthread.h>

#include "live_server.h"
#endif

namespace appletctl {

#if APPLETCTL_SERVE

Status cmdServe(Session& s, const Command& c) {
    ServeOptions o;
    std::string why;
    if (const std::string* listen = c.option("--listen")) {
        if (!parseListen(*listen, &o, &why)) {
            err(Session::context(c), why);
            return kFailed;
        }
    }
    if (const std::string* dir = c.option("--dir")) o.directory = *dir;
    // The server's threads inherit the blocked signals; this thread takes them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    LiveServer server(s.board(), o);
    if (!server.start(&why)) {
        pthread_sigmask(SIG_UNBLOCK, &stopSignals, nullptr);
        err(Session::context(c), why);
        return kFailed;
    }
    out("live view of board " + std::to_string(s.board().index()) + " at\n    " + server.url() + "\nfiles in " +
        o.directory + "; stop with Ctrl-C\n");
    std::fflush(stdout);
    int sig = 0;
    sigwait(&stopSignals, &sig);
    server.stop();
    pthread_sigmask(SIG_UNBLOCK, &stopSignals, nullptr);
    out("live view stopped\n");
    return kOk;
}

#else

Status cmdServe(Session&, const Command& c) {
    err(Session::context(c), "this appletctl was built without the live view (no HTTP library for this target)");
    return kFailed;
}

#endif

}  // namespace appletctl
