#ifndef FG_ERROR_H
#define FG_ERROR_H

/**
 * One-number error store: the result of the last operation that records
 * one. The applet object keeps one for the application's "last error".
 * Not locked; the applet writes it under its parameter lock.
 */
class Fg_Error {
public:
    Fg_Error();
    virtual ~Fg_Error();

    /** Stores n and returns it. */
    int setErr(int n);
    /** Detailed errors are not supported: stores nothing, answers -2130. */
    int setErrLevel2(int n, const char* text);
    int getErrorNumberBuffer() const;

private:
    int error_number_buffer;
};

#endif
