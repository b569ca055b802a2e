// KlxCore: making the recorded environment changes last. The NT family keeps
// the environment in the registry, where the changes already are: the running
// programs are only told. Windows 9x builds its environment at boot from
// "autoexec.bat": the old definitions of the changed variables are disabled
// there and the file calls "klenv.bat", which holds the new ones. "klenv.bat"
// is written on both families.
#include "KLXEnvVar.h"

#include "KLXStrProcess.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"

#include "platform/Platform.h"
#include "platform/common/ScopedHandle.h"

#include <cstddef>
#include <string>
#include <vector>

namespace {

using Entry = std::vector<std::string>;

const char* const kRemovalComment = "Removed by Keldmar Corvale settings program";
const char* const kSettingArea = "Environment";

// Positions of an entry of the modified list; from kFirstAdded on, the entry
// holds (added item, removed template) pairs.
constexpr std::size_t kNamePosition = 0;
constexpr std::size_t kSeparatorPosition = 1;
constexpr std::size_t kValuePosition = 2;
constexpr std::size_t kFirstAdded = 3;
constexpr std::size_t kFirstRemoved = 4;

struct FileHandleTraits {
    using handle_type = HANDLE;
    static HANDLE invalid() { return INVALID_HANDLE_VALUE; }
    static void close(HANDLE handle) { klx::platform::closeHandle(handle); }
};

// Holds a file's update lock from before it is read until it is written
// back, so that programs applying changes at the same time take turns and
// none of them writes back a file without another's lines. A file that cannot
// be locked is updated all the same.
class FileUpdate {
public:
    explicit FileUpdate(const std::string& path)
        : mHandle(klx::platform::createFile(path,
                                            klx::platform::AccessRead | klx::platform::AccessWrite,
                                            klx::platform::ShareRead | klx::platform::ShareWrite,
                                            klx::platform::FileCreation::OpenAlways)
                      .value) {
        if (mHandle)
            klx::platform::lockFile(mHandle.get());
    }

private:
    // Closing the handle releases the lock.
    klx::platform::ScopedHandle<FileHandleTraits> mHandle;
};

// The string at `position`, or "" for an entry too short to hold it.
std::string entryText(const Entry& entry, std::size_t position) {
    return position < entry.size() ? entry[position] : std::string();
}

bool isPath(const std::string& name) {
    return name == KLX_STR_ENV_VAR_PATH;
}

// "SET NAME=": the text that a definition of the variable begins with.
std::string definitionPrefix(const std::string& name) {
    return std::string(KLX_STR_BATCH_SET) + name + KLX_STR_EQUAL;
}

// The new definition of the variable for "klenv.bat". PATH keeps what it
// already holds at boot and gains the added items in front of it; any other
// variable gets the value it was changed to.
std::string definitionLine(const Entry& entry) {
    const std::string name = entryText(entry, kNamePosition);
    std::string line = definitionPrefix(name);
    if (!isPath(name))
        return line + entryText(entry, kValuePosition);
    const std::string separator = entryText(entry, kSeparatorPosition);
    for (std::size_t i = kFirstAdded; i < entry.size(); i += 2) {
        if (!entry[i].empty())
            line += entry[i] + separator;
    }
    return line + "%" + name + "%";
}

// Disables the definitions of the entry's variable in the boot batch file. A
// plain variable's definitions are commented out. A PATH definition is
// commented out only when a removed template took something out of its list,
// and the edited line is put before it; otherwise it stays as it is, since
// "klenv.bat" only adds to it.
void disableDefinitions(KLXTextFile& bootFile, const Entry& entry) {
    const std::string name = entryText(entry, kNamePosition);
    std::string separator = entryText(entry, kSeparatorPosition);
    std::string prefix = definitionPrefix(name);
    std::string comment = kRemovalComment;
    const bool path = isPath(name);

    unsigned int searchFrom = 0;
    for (int found = bootFile.findLine(prefix, KLX_TEMPLATE_AT_START, searchFrom); found >= 0;
         found = bootFile.findLine(prefix, KLX_TEMPLATE_AT_START, searchFrom)) {
        std::string replacement;
        if (path) {
            replacement = bootFile.getLine(found);
            bool removed = false;
            for (std::size_t i = kFirstRemoved; i < entry.size(); i += 2) {
                std::string pattern = entry[i];
                if (pattern.empty())
                    continue;
                // Only the list after "SET PATH=" is edited; the prefix keeps
                // its letter case.
                if (KLXStrProcess::removeTemplate(replacement, pattern, separator,
                                                  static_cast<int>(prefix.size())))
                    removed = true;
            }
            if (!removed)
                replacement.clear();
        }
        if (!path || !replacement.empty()) {
            bootFile.commentLine(found);
            bootFile.insertComment(found, comment);
        }
        if (!replacement.empty()) {
            bootFile.insertLine(found, replacement);
            ++found;
        }
        // Go on after the disabled (or untouched) line; a disabled line no
        // longer begins with the prefix.
        searchFrom = static_cast<unsigned int>(found) + 1;
    }
}

void editBootBatchFile(const std::vector<Entry>& entries) {
    std::string path = KLXSystem::getSystemDrive() + KLX_STR_FILE_NAME_AUTOEXEC;
    FileUpdate update(path);
    KLXTextFile bootFile(path, KLX_TEXT_FILE_BATCH, 0);
    for (const Entry& entry : entries)
        disableDefinitions(bootFile, entry);

    std::string callLine =
        std::string(KLX_STR_BATCH_CALL) + KLXSystem::getSystemDrive() + KLX_STR_FILE_NAME_KLENV;
    if (bootFile.findLine(callLine, KLX_TEMPLATE_AT_START, 0) < 0)
        bootFile.addLine(callLine);
    bootFile.write();
}

} // namespace

void KLXEnvVar::applyChanges() {
    if (mModifiedVarsList.empty())
        return;

    if (KLXSystem::getOsType() == KLX_OS_NT) {
        klx::platform::broadcastSettingChange(kSettingArea);
    } else {
        editBootBatchFile(mModifiedVarsList);
    }

    // The environment batch file keeps the definition of every variable ever
    // applied: a definition already there is replaced where it stands.
    std::string path = KLXSystem::getSystemDrive() + KLX_STR_FILE_NAME_KLENV;
    FileUpdate update(path);
    KLXTextFile environmentFile(path, KLX_TEXT_FILE_BATCH, 0);
    for (const Entry& entry : mModifiedVarsList) {
        std::string prefix = definitionPrefix(entryText(entry, kNamePosition));
        std::string line = definitionLine(entry);
        int found = environmentFile.findLine(prefix, KLX_TEMPLATE_AT_START, 0);
        if (found >= 0)
            environmentFile.replaceLine(found, line);
        else
            environmentFile.addLine(line);
    }
    environmentFile.write();

    // Changes whose files could not be written are dropped as well: a later
    // call does not apply them again.
    mModifiedVarsList.clear();
    // Several tool locations are taken from environment variables.
    KLXSystem::resetAppPathTable();
}
