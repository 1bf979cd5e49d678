#include "templates/platform/PropertiesFile.h"

#include <algorithm>
#include <cctype>

namespace tervik {
namespace templates {
namespace platform {

namespace {

const char kSeparator[] = "::";
const std::string::size_type kSeparatorLength = 2;

unsigned char lower(char c) { return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

PropertiesFile::PropertiesFile(bool useSections, bool caseSensitive)
    : m_useSections(useSections), m_caseSensitive(caseSensitive) {}

PropertiesFile::~PropertiesFile() {}

void PropertiesFile::setUseSections(bool useSections) {
    RecursiveMutexGuard guard(&m_mutex);
    m_useSections = useSections;
}

void PropertiesFile::setCaseSensitive(bool caseSensitive) {
    RecursiveMutexGuard guard(&m_mutex);
    m_caseSensitive = caseSensitive;
}

bool PropertiesFile::useSections() const {
    RecursiveMutexGuard guard(&m_mutex);
    return m_useSections;
}

bool PropertiesFile::caseSensitive() const {
    RecursiveMutexGuard guard(&m_mutex);
    return m_caseSensitive;
}

bool PropertiesFile::keyAccepted(const std::string& key) const {
    if (key.empty()) return false;
    if (!m_useSections) return true;
    const std::string::size_type pos = key.find(kSeparator);
    if (pos == std::string::npos || pos == 0) return false;
    // "::" may not end the key either (the last occurrence decides that).
    return key.rfind(kSeparator) + kSeparatorLength != key.size();
}

bool PropertiesFile::sameText(const std::string& a, const std::string& b) const {
    if (m_caseSensitive) return a == b;
    if (a.size() != b.size()) return false;
    for (std::string::size_type i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

std::map<std::string, std::string>::iterator PropertiesFile::find(const std::string& key) {
    if (m_caseSensitive) return m_properties.find(key);
    for (auto it = m_properties.begin(); it != m_properties.end(); ++it)
        if (sameText(it->first, key)) return it;
    return m_properties.end();
}

std::map<std::string, std::string>::const_iterator PropertiesFile::find(const std::string& key) const {
    if (m_caseSensitive) return m_properties.find(key);
    for (auto it = m_properties.begin(); it != m_properties.end(); ++it)
        if (sameText(it->first, key)) return it;
    return m_properties.end();
}

bool PropertiesFile::setProperty(const std::string& key, const std::string& value) {
    RecursiveMutexGuard guard(&m_mutex);
    if (!keyAccepted(key)) return false;
    auto it = find(key);
    if (it != m_properties.end())
        it->second = value;
    else
        m_properties.insert(std::make_pair(key, value));
    return true;
}

bool PropertiesFile::getProperty(const std::string& key, std::string& value) const {
    RecursiveMutexGuard guard(&m_mutex);
    auto it = find(key);
    if (it == m_properties.end()) return false;
    value = it->second;
    return true;
}

std::vector<std::string> PropertiesFile::propertyNames(const std::string& section) const {
    RecursiveMutexGuard guard(&m_mutex);
    std::vector<std::string> names;
    for (const auto& property : m_properties) {
        const std::string& key = property.first;
        const std::string::size_type pos = key.find(kSeparator);
        const std::string keySection = pos == std::string::npos ? std::string() : key.substr(0, pos);
        if (!sameText(keySection, section)) continue;
        names.push_back(pos == std::string::npos ? key : key.substr(pos + kSeparatorLength));
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace platform
}  // namespace templates
}  // namespace tervik
