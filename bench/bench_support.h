// Shared set-up of the benchmarks: a board opened with the applet on the
// simulated platform, the applet's own exports (taken from its library, so the
// runtime's routing is not measured), and the floor every ratio is taken
// against: the bare simulated-runtime work plus one uncontended lock and
// unlock of an error-checking mutex.
#ifndef ORV_BENCH_SUPPORT_H
#define ORV_BENCH_SUPPORT_H

#include <dlfcn.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fg_applet.h"
#include "fg_platform.h"
#include "sim_board.h"

namespace orvbench {

struct AppletExports {
    decltype(&::Fg_setParameterWithType) set = nullptr;
    decltype(&::Fg_getParameterWithType) get = nullptr;
    decltype(&::Std_entry) std_entry = nullptr;
    decltype(&::Fg_FreeGrabber) free_grabber = nullptr;
    decltype(&::Fg_getParameterInfoXML) xml = nullptr;
    decltype(&::Fg_saveConfig) save = nullptr;
    decltype(&::Fg_loadConfig) load = nullptr;
    decltype(&::Info) info = nullptr;
};

// A board with the applet; its exports and the host runtime's entries for the floor.
class BenchBoard {
public:
    explicit BenchBoard(int flags = 0) {
        if (!std::getenv("TERVIK_APPLET_PATH")) {
            // The runtime finds the applet next to the design and register runtimes.
            Dl_info info;
            void* hap = dlopen("libtervikhap.so", RTLD_NOW | RTLD_NOLOAD);
            if (hap && dladdr(dlsym(hap, "HapGetEvent"), &info) && info.dli_fname) {
                std::string dir(info.dli_fname);
                setenv("TERVIK_APPLET_PATH", dir.substr(0, dir.rfind('/')).c_str(), 1);
            }
        }
        fg = Fg_InitEx("Orvindel", 0, flags);
        if (!fg) {
            std::fprintf(stderr, "cannot open a board with the applet\n");
            std::exit(1);
        }
        dev = SimBoard_DeviceOf(fg);
        host = SimBoard_HostHandleOf(dev);
        void* lib = SimBoard_AppletLibraryOf(fg);
        x.set = reinterpret_cast<decltype(x.set)>(dlsym(lib, "Fg_setParameterWithType"));
        x.get = reinterpret_cast<decltype(x.get)>(dlsym(lib, "Fg_getParameterWithType"));
        x.std_entry = reinterpret_cast<decltype(x.std_entry)>(dlsym(lib, "Std_entry"));
        x.free_grabber = reinterpret_cast<decltype(x.free_grabber)>(dlsym(lib, "Fg_FreeGrabber"));
        x.xml = reinterpret_cast<decltype(x.xml)>(dlsym(lib, "Fg_getParameterInfoXML"));
        x.save = reinterpret_cast<decltype(x.save)>(dlsym(lib, "Fg_saveConfig"));
        x.load = reinterpret_cast<decltype(x.load)>(dlsym(lib, "Fg_loadConfig"));
        x.info = reinterpret_cast<decltype(x.info)>(dlsym(lib, "Info"));
        void* rt = dlopen("libtalrun5.so", RTLD_NOW | RTLD_NOLOAD);
        hostSet = reinterpret_cast<Fg_setParameterWithType_t>(dlsym(rt, "Fg_setParameterWithType"));
        hostGet = reinterpret_cast<Fg_getParameterWithType_t>(dlsym(rt, "Fg_getParameterWithType"));
        SimBoard_LogClear(dev);
    }
    ~BenchBoard() { Fg_FreeGrabber(fg); }

    Fg_Struct* fg = nullptr;
    QORdevice* dev = nullptr;
    Fg_Struct* host = nullptr;
    AppletExports x;
    Fg_setParameterWithType_t hostSet = nullptr;
    Fg_getParameterWithType_t hostGet = nullptr;
};

// The one lock and unlock that every typed access costs at least.
class FloorLock {
public:
    FloorLock() {
        pthread_mutexattr_t a;
        pthread_mutexattr_init(&a);
        pthread_mutexattr_settype(&a, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&m_, &a);
        pthread_mutexattr_destroy(&a);
    }
    ~FloorLock() { pthread_mutex_destroy(&m_); }
    void lock() { pthread_mutex_lock(&m_); }
    void unlock() { pthread_mutex_unlock(&m_); }

private:
    pthread_mutex_t m_;
};

}  // namespace orvbench

#endif
