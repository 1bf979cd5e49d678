// The live view: an HTTP server on the board the tool opened, serving one page
// (parameter trees, live images, profiles, histograms) and the JSON API the
// page calls. Every board access of the server goes through one lock, so the
// board sees at most one caller at a time.
#ifndef APPLETCTL_LIVE_SERVER_H
#define APPLETCTL_LIVE_SERVER_H

#include <memory>
#include <string>

namespace appletctl {

class Board;

struct ServeOptions {
    std::string address = "127.0.0.1";  // loopback unless told otherwise
    int port = 8080;                    // 0: any free port
    std::string directory = ".";        // the only directory the page may read and write files in
    std::string token;                  // empty: a random one
    unsigned buffers = 8;               // frame buffers per port
};

// "ADDR:PORT" (ADDR may be [v6]); false with the reason.
bool parseListen(const std::string& text, ServeOptions* o, std::string* why);

class LiveServer {
public:
    LiveServer(Board& board, const ServeOptions& options);
    ~LiveServer();
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    // Binds and starts serving; false with the reason.
    bool start(std::string* why);
    // Stops serving and every acquisition the server started.
    void stop();

    int port() const;
    const std::string& token() const;
    // The address a browser opens, token included.
    std::string url() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace appletctl

#endif  // APPLETCTL_LIVE_SERVER_H
