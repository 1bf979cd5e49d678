#ifndef TERVIK_TEMPLATES_PLATFORM_PROPERTIESFILE_H
#define TERVIK_TEMPLATES_PLATFORM_PROPERTIESFILE_H

#include <map>
#include <string>
#include <vector>

#include "templates/platform/RecursiveMutex.h"

namespace tervik {
namespace templates {
namespace platform {

/**
 * In-memory store of text properties keyed by section "::" name.
 *
 * With sections in use a key must contain "::", and not at its start or its
 * end; otherwise any non-empty key is accepted. The section of a key is the
 * text before its first "::", the name the text after it (a key without
 * "::" belongs to the empty section). Without case sensitivity keys match
 * regardless of letter case, and a key keeps the spelling of its first
 * setting.
 *
 * Every operation locks m_mutex itself; callers that need several accesses
 * to appear as one lock it around them with a RecursiveMutexGuard (the mutex
 * is recursive, so the inner locking is harmless).
 */
class PropertiesFile {
public:
    PropertiesFile(bool useSections, bool caseSensitive);
    virtual ~PropertiesFile();

    void setUseSections(bool useSections);
    void setCaseSensitive(bool caseSensitive);
    bool useSections() const;
    bool caseSensitive() const;

    /** Stores (or replaces) a property; false for a refused key. */
    bool setProperty(const std::string& key, const std::string& value);
    /** True and the value when the key exists; value untouched otherwise. */
    bool getProperty(const std::string& key, std::string& value) const;
    /** The names (without "section::") of the section's properties, ascending. */
    std::vector<std::string> propertyNames(const std::string& section) const;

    /** Guards the store; public so that callers can group accesses. */
    mutable RecursiveMutex m_mutex;

private:
    PropertiesFile(const PropertiesFile&);
    PropertiesFile& operator=(const PropertiesFile&);

    bool keyAccepted(const std::string& key) const;
    bool sameText(const std::string& a, const std::string& b) const;
    std::map<std::string, std::string>::iterator find(const std::string& key);
    std::map<std::string, std::string>::const_iterator find(const std::string& key) const;

    bool m_useSections;
    bool m_caseSensitive;
    std::map<std::string, std::string> m_properties;
};

}  // namespace platform
}  // namespace templates
}  // namespace tervik

#endif
