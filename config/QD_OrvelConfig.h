#ifndef QD_ORVEL_CONFIG_H
#define QD_ORVEL_CONFIG_H

#include <initializer_list>
#include <memory>
#include <string>

#include "QD_OrvelConnection.h"
#include "QD_OrvelExport.h"

namespace orvel {
class ConfigurationDocument;
class ConfigurationPath;
struct Operation;
namespace platform {
class XmlDocument;
}
} // namespace orvel

/// The configuration file as its readers see it: named values, found by section, key and name.
///
/// The first lookup reads the file; until then none is touched. What was read is kept for the process under
/// the file's name, so that other objects of the same name read no file again until `flushCache`. A file that
/// is missing or outdated is replaced by a copy of the master file, if the application has named one.
///
/// An object is used by one thread at a time and answers for its whole life from what it read first.
/// Different objects are independent, and the static operations may be called from any thread.
///
/// Names are in the narrow encoding, null counts as empty, and they go into the path to the value as they
/// are: "a/b" leads to b inside a, and a name that makes the path invalid is an unreadable configuration.
class QD_ORVEL_EXPORT QD_OrvelConfig {
public:
    /// Reads nothing yet.
    ///
    /// @param fileName  a relative one is looked for in the directory that is current when the file is read
    explicit QD_OrvelConfig(const char* fileName);
    QD_OrvelConfig(const QD_OrvelConfig&) = delete;
    QD_OrvelConfig& operator=(const QD_OrvelConfig&) = delete;
    ~QD_OrvelConfig();

    /// The name as the constructor got it, so that an owner can make another object for the same file.
    const char* getFileName() const noexcept { return fileName.c_str(); }

    // Lookups. All of them replace `value` by the text found, without white space at its ends, and answer
    // true; a value that is missing, or empty, leaves it empty and answers false, or throws where `required`
    // is true. `value` may be the string that a name points into.
    //
    // Throws QD_OrvelException 1 when the file cannot be read, has no usable version and no master to be
    // replaced by, or a name makes the path invalid. An object whose file could not be parsed does not try
    // again: from its second lookup on, every value is missing.

    /// A value of the common section.
    bool getCommonDefault(const char* key, std::string& value);

    /// A default of the ADO provider; 26 when it is required and missing.
    bool getProviderDefault(const char* key, std::string& value, bool required);

    /// A property that the ADO provider has for one database key; 26 when it is required and missing.
    bool getProviderDBProperty(const char* databaseKey, const char* key, std::string& value, bool required);

    /// A named statement of a database key; 26 when it is required and missing.
    bool getDBCommand(const char* databaseKey, const char* command, std::string& value, bool required);

    /// A property of a database key; 26 when it is required and missing.
    bool getDBProperty(const char* databaseKey, const char* key, std::string& value, bool required);

    /// A template for a kind of database; 25 when it is required and missing.
    bool getDBDatabaseCommand(const char* databaseKey, const char* databaseID, const char* templateName,
                              std::string& value, bool required);

    /// A template for a kind of table; 24 when it is required and missing.
    bool getDBTableCommand(const char* databaseKey, const char* tableID, const char* templateName,
                           std::string& value, bool required);

    /// The common default "DefaultTimeout" as a number: digits up to the first other character, 0 without any.
    ///
    /// @param milliseconds  0 when the value is missing
    /// @return false when the value is missing; a value that is no number is not
    bool getDefaultTimeout(int& milliseconds);

    /// Forgets what was read from all files. Objects that have read theirs keep what they have.
    static void flushCache();

    /// Sets one application default. Nothing but the slot changes: objects that exist keep their file.
    ///
    /// @param kind   an unknown one changes nothing
    /// @param value  for the slots that hold a number
    /// @param text   for the slots that hold a text; null changes nothing
    static void setAppDefaultValue(QD_OrvelAppDefault kind, int value, const char* text);

    /// Reads one application default into the argument of its type; a null argument is passed over.
    static void getAppDefaultValue(QD_OrvelAppDefault kind, std::string* text, int* value);

private:
    std::shared_ptr<const orvel::ConfigurationDocument> document; // shared by all objects that read the file
    std::shared_ptr<orvel::platform::XmlDocument> evaluated;      // our own copy, for names that are paths
    std::string fileName;

    bool lookup(orvel::Operation missing, std::initializer_list<const char*> names, std::string& value,
                bool required);
    std::string valueAt(const orvel::ConfigurationPath& path);
    void ensureLoaded();
    std::shared_ptr<const orvel::ConfigurationDocument> loadFile();
    std::shared_ptr<const orvel::ConfigurationDocument> loadXMLDOMDocument();
};

#endif
