#ifndef FG_LOG_H
#define FG_LOG_H

#include <cstdio>

/**
 * Plain text log written with C stdio.
 *
 * The log is dormant in this library: OpenLogFile() leaves it closed, and
 * every writer does nothing while no file is open. The line formats are
 * those an open log would receive. A derived logger can direct the log to a
 * stream it opened itself through attachStream().
 */
class Fg_Log {
public:
    explicit Fg_Log(const char* fileName = nullptr);
    virtual ~Fg_Log();

    /** Opening a log file is not done by this build: the log stays closed. */
    void OpenLogFile(const char* fileName);
    /** Flushes and closes an open file; nothing when closed. */
    void CloseLogFile();
    bool isOpen() const { return mHandleToFile != nullptr; }

    void WriteWelcome();
    void Func(const char* functionName);
    void Info(const char* text);
    void Info(const char* text, int value);
    void Error(const char* text);
    void ErrorInt(const char* a, const char* b, int value);
    void ErrorDouble(const char* a, const char* b, double value);
    void UsrDbg(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

protected:
    /** Hands the log an open stream; the log closes it (a previous one too). */
    void attachStream(std::FILE* stream);

private:
    Fg_Log(const Fg_Log&);
    Fg_Log& operator=(const Fg_Log&);

    /** Local time as "Www Mmm dd hh:mm:ss yyyy\n". */
    char* GetTimestamp();

    std::FILE* mHandleToFile;
    int mLogLevel;
    char mTimestamp[64];
};

#endif
