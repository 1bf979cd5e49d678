#ifndef FG_ERROR_H
#define FG_ERROR_H

#include <atomic>

/**
 * One-number error store: the result of the last operation that records
 * one. The applet object keeps one for the application's "last error".
 * Typed parameter access writes it under the parameter lock, but the
 * enumeration, description, configuration and acquisition entry points
 * write it without a lock and the application reads it from any thread, so
 * the number itself is atomic: a reader gets the result of one of the
 * operations, never a value torn by a concurrent write.
 */
class Fg_Error {
public:
    Fg_Error();
    virtual ~Fg_Error();

    /** Stores n and returns it (inline: every typed parameter access ends here). */
    int setErr(int n) {
        error_number_buffer.store(n, std::memory_order_relaxed);
        return n;
    }
    /** Detailed errors are not supported: stores nothing, answers -2130. */
    int setErrLevel2(int n, const char* text);
    int getErrorNumberBuffer() const;

private:
    std::atomic<int> error_number_buffer;
};

#endif
