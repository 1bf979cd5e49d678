#include "Fg_Log.h"

#include <cstdarg>
#include <cstring>
#include <ctime>

namespace {

const char kSeparatorLine[] = "-------------------------------------------------------------------------\n";
const char kBanner[] = "Tervik GmbH - frame grabber applet log\n";
const char kContents[] = "Contents: Log details for korvane Dll\n";

const char* text(const char* s) { return s != nullptr ? s : ""; }

}  // namespace

Fg_Log::Fg_Log(const char* fileName) : mHandleToFile(nullptr), mLogLevel(0) {
    mTimestamp[0] = '\0';
    if (fileName != nullptr) OpenLogFile(fileName);
}

Fg_Log::~Fg_Log() { CloseLogFile(); }

void Fg_Log::OpenLogFile(const char* /*fileName*/) {
    // This build keeps no log file: the log stays closed.
}

void Fg_Log::CloseLogFile() {
    if (mHandleToFile != nullptr) {
        std::fflush(mHandleToFile);
        std::fclose(mHandleToFile);
        mHandleToFile = nullptr;
    }
}

void Fg_Log::attachStream(std::FILE* stream) {
    CloseLogFile();
    mHandleToFile = stream;
}

char* Fg_Log::GetTimestamp() {
    std::time_t now = std::time(nullptr);
    std::tm local;
    if (localtime_r(&now, &local) == nullptr || asctime_r(&local, mTimestamp) == nullptr) std::strcpy(mTimestamp, "\n");
    return mTimestamp;
}

void Fg_Log::WriteWelcome() {
    if (mHandleToFile == nullptr) return;
    std::fputs(kSeparatorLine, mHandleToFile);
    std::fputs(kBanner, mHandleToFile);
    std::fputs(kContents, mHandleToFile);
    std::fputs(GetTimestamp(), mHandleToFile);
    std::fputs(kSeparatorLine, mHandleToFile);
}

void Fg_Log::Func(const char* /*functionName*/) {}

void Fg_Log::Info(const char* /*text*/) {}

void Fg_Log::Info(const char* s, int value) {
    if (mHandleToFile == nullptr) return;
    std::fprintf(mHandleToFile, "korvaneIV::Info >> %s >> %d;\n", text(s), value);
    std::fflush(mHandleToFile);
}

void Fg_Log::Error(const char* s) {
    if (mHandleToFile == nullptr) return;
    std::fprintf(mHandleToFile, "korvaneIV::Error >> %s;\n", text(s));
    std::fflush(mHandleToFile);
}

void Fg_Log::ErrorInt(const char* a, const char* b, int value) {
    if (mHandleToFile == nullptr) return;
    std::fprintf(mHandleToFile, "korvaneIV::Error >> %s >> %s >> %d;\n", text(a), text(b), value);
    std::fflush(mHandleToFile);
}

void Fg_Log::ErrorDouble(const char* a, const char* b, double value) {
    if (mHandleToFile == nullptr) return;
    char number[32];
    std::snprintf(number, sizeof number, "%.*g", 12, value);
    std::fprintf(mHandleToFile, "korvaneIV::Error >> %s >> %s >> %s;\n", text(a), text(b), number);
    std::fflush(mHandleToFile);
}

void Fg_Log::UsrDbg(const char* format, ...) {
    if (mHandleToFile == nullptr || format == nullptr) return;
    va_list args;
    va_start(args, format);
    std::vfprintf(mHandleToFile, format, args);
    va_end(args);
}
