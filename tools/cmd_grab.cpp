// grab: the frames a port's DMA channel delivers, written to image files, one
// per frame or stacked into one tall strip. Only the runtime's exported
// acquisition calls are used: a ring of frame buffers, the channel's frame
// format, start, blocking wait, copy, status and stop.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "commands.h"
#include "error_text.h"
#include "image_files.h"
#include "output.h"
#include "session.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {
namespace {

const double kDefaultTimeout = 5.0;
const uint64_t kRingBytes = 64u << 20;  // the ring's memory when --buffers is not given
const frameindex_t kMaxBuffers = 65536;

typedef std::chrono::steady_clock Clock;

double secondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

std::string fixed(double v, int decimals) {
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

// Ctrl-C or a termination request while frames are grabbed ends the grab
// cleanly: the acquisition stops and no temporary file stays behind.
volatile std::sig_atomic_t gStop = 0;
extern "C" void onStopSignal(int) { gStop = 1; }

class StopSignals {
public:
    StopSignals() {
        gStop = 0;
        struct sigaction sa;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = 0;
        sa.sa_handler = onStopSignal;
        sigaction(SIGINT, &sa, &int_);
        sigaction(SIGTERM, &sa, &term_);
    }
    ~StopSignals() {
        sigaction(SIGINT, &int_, nullptr);
        sigaction(SIGTERM, &term_, nullptr);
    }

private:
    struct sigaction int_, term_;
};

// The ring and the running acquisition, stopped and freed on every way out.
struct Acquisition {
    Fg_Struct* fg = nullptr;
    int port = 0;
    dma_mem* ring = nullptr;
    bool running = false;
    ~Acquisition() {
        if (running) Fg_stopAcquireEx(fg, port, ring, 0);
        if (ring) Fg_FreeRingEx(fg, ring);
    }
};

// One line on a terminal, rewritten in place at most five times a second.
class Progress {
public:
    explicit Progress(uint64_t total) : on_(isatty(2) == 1), total_(total), start_(Clock::now()) {}
    // `bytes`: the frames' image data (what the board delivered), not the files.
    void show(uint64_t frames, uint64_t bytes, uint64_t lost, bool force = false) {
        if (!on_) return;
        const double t = secondsSince(start_);
        if (!force && t - last_ < 0.2) return;
        last_ = t;
        const double rate = t > 0 ? 1 / t : 0;
        std::fprintf(stderr, "\rgrab: %llu/%llu frames  %s fps  %s MB/s  %llu lost\033[K",
                     static_cast<unsigned long long>(frames), static_cast<unsigned long long>(total_),
                     fixed(static_cast<double>(frames) * rate, 1).c_str(),
                     fixed(static_cast<double>(bytes) * rate / 1e6, 1).c_str(), static_cast<unsigned long long>(lost));
        std::fflush(stderr);
        shown_ = true;
    }
    void clear() {
        if (shown_) std::fputs("\r\033[K", stderr);
        shown_ = false;
    }

private:
    bool on_;
    uint64_t total_;
    Clock::time_point start_;
    double last_ = -1;
    bool shown_ = false;
};

std::string bytesText(uint64_t n) {
    if (n < 10000) return std::to_string(n) + " bytes";
    if (n < 10000000) return fixed(static_cast<double>(n) / 1e3, 1) + " kB";
    return fixed(static_cast<double>(n) / 1e6, 1) + " MB";
}

// A name for frame files: the pattern, or with several frames and no number
// directive, the name with "-%04d" before its extension.
std::string framePattern(const std::string& name, bool several) {
    if (!several || hasNumberDirective(name)) return name;
    std::string escaped;
    for (char ch : name) escaped += ch == '%' ? std::string("%%") : std::string(1, ch);
    const std::string::size_type dot = escaped.rfind('.');
    return escaped.substr(0, dot) + "-%04d" + escaped.substr(dot);
}

// The answers of the acquisition calls, with the meanings of the codes only
// they give.
std::string acquisitionError(int code) {
    if (errorMeaning(code)) return errorText(code);
    switch (code) {
    case -500: return std::to_string(code) + " not enough memory";
    case SIM_ERR_BUSY: return std::to_string(code) + " the channel or its buffers are in use by another acquisition";
    case SIM_ERR_TIMEOUT: return std::to_string(code) + " time-out";
    default: return errorText(code);
    }
}

uint64_t number(const Command& c, const char* option, uint64_t fallback) {
    const std::string* v = c.option(option);
    uint64_t n = fallback;
    if (v) parseUnsigned(*v, &n);  // checked when the command was read
    return n;
}

}  // namespace

Status cmdGrab(Session& s, const Command& c) {
    Fg_Struct* fg = s.board().fg();
    const int port = static_cast<int>(c.port);
    const std::string where = Session::context(c);
    const uint64_t frames = number(c, "--frames", 1);
    const bool strip = c.has("--strip"), trigger = c.has("--software-trigger");
    double timeout = kDefaultTimeout;
    if (const std::string* t = c.option("--timeout")) parseDouble(*t, &timeout);
    const int waitSeconds = static_cast<int>(std::ceil(timeout));  // the runtime waits in whole seconds
    const std::string* given = c.option("--output");
    const std::string pattern =
        framePattern(given ? *given : std::string(strip ? "strip.pgm" : "frame-%04d.pgm"), frames > 1 && !strip);
    ImageType type = ImageType::Pgm;
    imageTypeOf(imageFileName(pattern, 1), &type);

    FgFrameFormat f = {};
    int rc = Fg_getFrameFormatEx(fg, port, &f);
    if (rc != 0) {
        err(where, acquisitionError(rc) + ": cannot read the frame format of port " + std::to_string(port));
        return kFailed;
    }
    PixelLayout layout;
    layout.bitsPerPixel = f.bitsPerPixel;
    layout.bytesPerPixel = f.bytesPerPixel;
    layout.leftAligned = f.leftAligned != 0;
    const uint64_t frameBytes = f.frameBytes;
    if (frameBytes == 0 || frameBytes != uint64_t(f.width) * f.height * f.bytesPerPixel || frameBytes > (1u << 30)) {
        err(where, "port " + std::to_string(port) + " delivers frames of " + std::to_string(f.width) + " x " +
                       std::to_string(f.height) + " pixels in " + std::to_string(frameBytes) +
                       " bytes, which cannot be grabbed");
        return kFailed;
    }
    if (strip && uint64_t(f.height) * frames > 0x7fffffffu) {
        err(where, "a strip of " + std::to_string(frames) + " frames of " + std::to_string(f.height) +
                       " lines is taller than an image can be; grab fewer frames");
        return kFailed;
    }
    const int triggerId = trigger ? s.board().idOf("FG_SENDSOFTWARETRIGGER") : 0;
    if (triggerId < 0) return s.fail(c, triggerId, ": the applet has no software trigger (FG_SENDSOFTWARETRIGGER)");

    // Enough buffers that a short grab never waits for the writer, within a
    // bounded amount of memory.
    uint64_t buffers = number(c, "--buffers", 0);
    if (buffers == 0) {
        buffers = std::min<uint64_t>(frames, std::max<uint64_t>(2, kRingBytes / frameBytes));
    }
    buffers = std::min<uint64_t>(buffers, kMaxBuffers);
    Acquisition acq;
    acq.fg = fg;
    acq.port = port;
    acq.ring = Fg_AllocRingEx(fg, static_cast<size_t>(frameBytes), static_cast<frameindex_t>(buffers));
    if (!acq.ring) {
        const int why = Fg_getLastErrorNumber(nullptr);
        err(where,
            (why == FG_ERR_INVALID_PARAMETER ? std::to_string(why) + " more buffers or memory than the runtime allows"
                                             : acquisitionError(why)) +
                ": cannot allocate " + std::to_string(buffers) + " frame buffers of " + bytesText(frameBytes));
        return kFailed;
    }
    rc = Fg_AcquireEx(fg, port, static_cast<frameindex_t>(frames), 0, acq.ring);
    if (rc != 0) {
        err(where, acquisitionError(rc) + ": cannot start the acquisition on port " + std::to_string(port));
        return kFailed;
    }
    acq.running = true;

    StopSignals signals;
    Progress progress(frames);
    const Clock::time_point start = Clock::now();
    std::vector<unsigned char> frame(static_cast<size_t>(frameBytes));
    ImageWriter stripFile;
    const std::string stripName = imageFileName(pattern, 1);
    if (strip && !stripFile.open(stripName, type, layout, f.width, f.height * static_cast<uint32_t>(frames))) {
        err(where, stripFile.error());
        return kFailed;
    }
    uint64_t written = 0, bytes = 0, fileBytes = 0, lostHere = 0;
    std::string failure, firstName, lastName;
    for (frameindex_t p = 1; p <= static_cast<frameindex_t>(frames) && failure.empty(); ++p) {
        if (trigger) {
            const uint32_t one = 1;
            rc = Fg_setParameterWithType(fg, triggerId, &one, static_cast<unsigned>(port), FG_PARAM_TYPE_UINT32_T);
            if (rc != 0) {
                failure =
                    acquisitionError(rc) + ": the software trigger for picture " + std::to_string(p) + " was refused";
                break;
            }
        }
        // Waits in one-second steps, so that Ctrl-C is seen while waiting.
        frameindex_t last = SIM_ERR_TIMEOUT;
        bool ended = false;
        for (int waited = 0; waited < waitSeconds && !gStop && !ended; ++waited) {
            last = Fg_getLastPicNumberBlockingEx(fg, p, port, 1, acq.ring);
            if (last != SIM_ERR_TIMEOUT) break;
            ended = Fg_getStatusEx(fg, SIM_STATUS_RUNNING, 0, static_cast<unsigned>(port), acq.ring) == 0;
        }
        const std::string done = " (" + std::to_string(written) + " of " + std::to_string(frames) + " frames written)";
        if (gStop) {
            failure = "interrupted" + done;
        } else if (ended) {
            failure = "the acquisition ended before picture " + std::to_string(p) + done;
        } else if (last == SIM_ERR_TIMEOUT) {
            failure = "time-out: picture " + std::to_string(p) + " did not come within " + formatDouble(timeout) +
                      " s" + done +
                      (trigger ? std::string()
                               : "; a triggered port waits for its trigger (--software-trigger sends one per frame)");
        } else if (last < 0) {
            failure = acquisitionError(last) + ": waiting for picture " + std::to_string(p) + " failed";
        }
        if (!failure.empty()) break;
        const frameindex_t got = Fg_copyPictureEx(fg, p, port, frame.data(), frame.size(), acq.ring);
        if (got != p) {
            ++lostHere;  // overwritten before it could be taken
            if (strip) failure = "picture " + std::to_string(p) + " was lost, the strip would have a gap";
            continue;
        }
        if (strip) {
            if (!stripFile.writeRows(frame.data(), f.height)) failure = stripFile.error();
        } else {
            const std::string name = imageFileName(pattern, static_cast<uint64_t>(p));
            ImageWriter w;
            if (!w.open(name, type, layout, f.width, f.height) || !w.writeRows(frame.data(), f.height) || !w.commit()) {
                failure = w.error();
                break;
            }
            fileBytes += w.written();
            if (firstName.empty()) firstName = name;
            lastName = name;
        }
        ++written;
        bytes += frameBytes;
        const frameindex_t lost = Fg_getStatusEx(fg, SIM_STATUS_LOST, 0, static_cast<unsigned>(port), acq.ring);
        progress.show(written, bytes, std::max<uint64_t>(lostHere, lost > 0 ? uint64_t(lost) : 0));
    }
    const frameindex_t boardLost = Fg_getStatusEx(fg, SIM_STATUS_LOST, 0, static_cast<unsigned>(port), acq.ring);
    const uint64_t lost = std::max<uint64_t>(lostHere, boardLost > 0 ? uint64_t(boardLost) : 0);
    progress.show(written, bytes, lost, true);
    progress.clear();
    const double seconds = secondsSince(start);
    if (strip && failure.empty()) {
        if (stripFile.commit()) {
            fileBytes = stripFile.written();
            firstName = lastName = stripName;
        } else {
            failure = stripFile.error();
        }
    }
    if (!failure.empty()) {
        if (strip) stripFile.discard();
        err(where, failure + (strip ? "; " + visible(stripName) + " not written" : std::string()));
        return kFailed;
    }

    const std::string shape = std::to_string(f.width) + " x " + std::to_string(f.height) + " pixels, " +
                              std::to_string(f.bitsPerPixel) + " bits";
    std::string files = visible(firstName);
    if (!strip && written > 1) files += " .. " + visible(lastName);
    const std::string rate = seconds > 0 ? fixed(static_cast<double>(written) / seconds, 1) + " fps, " +
                                               fixed(static_cast<double>(bytes) / seconds / 1e6, 1) + " MB/s"
                                         : std::string("-");
    out("port " + std::to_string(port) + ": " + std::to_string(written) + (written == 1 ? " frame" : " frames") +
        " of " + shape + (strip ? " as one strip of " + std::to_string(uint64_t(f.height) * written) + " lines" : "") +
        " -> " + (written ? files : std::string("no file")) + " (" + imageTypeName(type) + ", " + bytesText(fileBytes) +
        "; " + fixed(seconds, 2) + " s, " + rate + ")\n");
    if (lost > 0) {
        err(where, std::to_string(lost) + (lost == 1 ? " frame" : " frames") + " lost: the board overwrote " +
                       (lost == 1 ? "it" : "them") + " before " + (lost == 1 ? "it was" : "they were") +
                       " written (a larger ring, --buffers, or a lower line rate helps)");
        return kFailed;
    }
    return kOk;
}

}  // namespace appletctl
