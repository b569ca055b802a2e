// KlxCore: facts about the machine, the table of tool locations and the
// starting of tools. Static services over module-wide state.
#ifndef KLX_SYSTEM_H
#define KLX_SYSTEM_H

#include "KLXConstants.h"

#include <string>
#include <vector>

class KLX_API KLXSystem {
public:
    KLXSystem() {}
    ~KLXSystem() {}
    KLXSystem& operator=(const KLXSystem&) { return *this; }

    // Number of entries of the tool location table, one per KLXAppType_e.
    static constexpr int mAppPathCount = 25;

    // The Windows family, asked for once and then cached; KLX_OS_NT or
    // KLX_OS_9X, never KLX_OS_UNKNOWN.
    static KLXOsType_e getOsType();
    // The root of the drive that holds the Windows directory, such as "C:\".
    static std::string& getSystemDrive();
    // The Windows directory without a trailing backslash, such as
    // "C:\WINDOWS".
    static std::string& getSystemRoot();
    // The profile directory of the user who runs the process; "" when it
    // cannot be determined (asked again at the next call).
    static std::string& getUserProfileDir();

    // The tool location of `type`, resolved on first use and cached until
    // resetAppPathTable(); mTheEmptyString for a type outside the table.
    static std::string& getApplicationPath(KLXAppType_e type);
    // Forgets every cached tool location.
    static void resetAppPathTable();
    // The Cygwin root directory: getApplicationPath(KLX_APP_CYGWIN_ROOT).
    static std::string& getGygwinRoot();

    // Starts the program at `cmd` with `args` and waits for its exit code.
    static int run(std::string& cmd, std::vector<std::string>& args);
    // Starts the program at `cmd` with `args`; when `wait` is false returns
    // at once with the child's handle. -1 when it cannot be started.
    static int run(std::string& cmd, std::vector<std::string>& args, bool wait);
    // run() on the tool of `type`; -1 when its path is unknown.
    static int runApp(KLXAppType_e type, std::vector<std::string>& args, bool wait);
    // Runs `cmd` with `args` through the command interpreter ("/c").
    static int runCmd(std::string& cmd, std::vector<std::string>& args, bool wait);
    // Runs `cmd` with `args` as one command string of a Cygwin login bash.
    static int runBash(std::string& cmd, std::vector<std::string>& args, bool wait);
    // Runs the program at `cmd`, waits for it and returns its standard
    // output (shared result string); the exit code goes to *exitCode.
    static std::string& runGetOutput(std::string& cmd, std::vector<std::string>& args,
                                     int* exitCode);
    static std::string& runGetOutput(KLXAppType_e type, std::vector<std::string>& args,
                                     int* exitCode);
    // Runs `cmd` (in Cygwin form) with `args` through bash, optionally as a
    // login shell, and returns its standard output.
    static std::string& runBashGetOutput(std::string& cmd, std::vector<std::string>& args,
                                         int* exitCode, bool login);
    static std::string& runBashGetOutput(KLXAppType_e type, std::vector<std::string>& args,
                                         int* exitCode, bool login);

    // A nine-line report of machine facts and installed tools.
    static std::string& getSystemInfo();

protected:
    // Reads the Windows directory into mWindowsDirectory and mSystemDrive.
    static void updateSystemData();

    // Module-wide caches; an empty string means not computed yet.
    static KLXOsType_e mOsType;
    static std::string mSystemDrive;
    static std::string mWindowsDirectory;
    static std::string mAppPathTable[mAppPathCount];
    static std::string mSystemInfo;
    // The shared empty result; never changed.
    static std::string mTheEmptyString;
    static std::string mUserProfileDir;
};

#endif // KLX_SYSTEM_H
