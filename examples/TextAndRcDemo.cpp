// A tour of the text and rc files: builds a boot batch file on the emulated
// C: drive, edits its PATH line as a list, and keeps a setting in a bash
// start-up file, printing each file as it goes.
//
//   TextAndRcDemo [-r RCFILE]
//
// Without -r the start-up file is $HOME/.cvlrc.
#include "KLXCmdLineParser.h"
#include "KLXRcFile.h"
#include "KLXStdio.h"
#include "KLXStrProcess.h"
#include "KLXTextFile.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

void say(const std::string& text) {
    std::string line = text;
    KLXStdio::outln(line);
}

void show(const std::string& title, KLXTextFile& file) {
    say("---- " + title + " (" + std::to_string(file.getLinesCount()) + " lines)");
    for (int i = 0; i < file.getLinesCount(); ++i)
        say("  " + std::to_string(i) + ": " + file.getLine(i));
}

} // namespace

int main(int argc, char* argv[]) {
    KLXCmdLineParser parser(argc, argv);
    if (parser.getOptionFlag('h', true) || parser.getOptionFlag('?', true)) {
        say("usage: TextAndRcDemo [-r RCFILE]");
        return 0;
    }
    std::vector<std::string> rcOption = parser.registerStringOption('r');
    std::string rcPath;
    if (rcOption.size() > 1) {
        rcPath = rcOption[1];
    } else {
        const char* home = std::getenv("HOME");
        rcPath = std::string(home ? home : ".") + "/.cvlrc";
    }

    // 1. A new batch file, written line by line in Windows style.
    std::string batchPath = "C:\\autoexec.bat";
    {
        KLXTextFile batch(batchPath, KLX_TEXT_FILE_BATCH, 1);
        std::string lines[] = {"@ECHO OFF",
                               "SET PATH=C:\\WINDOWS;C:\\OldTools\\bin;C:\\cygwin\\bin",
                               "SET KLLIBHOME=C:\\Corvale\\lib"};
        for (std::string& line : lines)
            batch.writeln(line);
        show("C:\\autoexec.bat as written", batch);
    }

    // 2. Reopened: the PATH line is found without regard to case, kept as a
    //    comment, and rewritten without the old tools and with the SDK's.
    {
        KLXTextFile batch(batchPath, KLX_TEXT_FILE_BATCH, 0);
        std::string key = "set path=";
        int index = batch.findLine(key, KLX_TEMPLATE_AT_START, 0);
        if (index < 0) {
            say("no PATH line found");
            return 1;
        }
        std::string path = batch.getLine(index).substr(key.size());
        std::string oldTools = "oldtools";
        std::string separator = ";";
        KLXStrProcess::removeTemplate(path, oldTools, separator, 0);
        path += ";C:\\Corvale\\bin";
        std::string definition = "SET PATH=" + path;
        batch.commentLine(index);
        batch.insertLine(index + 1, definition);
        std::string note = "PATH edited by TextAndRcDemo";
        batch.insertComment(index, note);
        batch.write();
        show("C:\\autoexec.bat after the edit", batch);
    }

    // 3. A setting in the bash start-up file, in the forward-slash form that
    //    a Cygwin shell reads.
    {
        KLXRcFile rc(rcPath, 0);
        std::string name = "KL_CVL_IDE_OS_DEFAULT";
        std::string value = "C:\\Corvale\\OS\\v2.1";
        KLXStrProcess::swapBackslashes(value);
        rc.setValue(name, value);
        rc.write();
        show(rcPath, rc);
        say(name + " reads back as " + rc.getValue(name));

        std::string cygwin = "C:\\Corvale\\OS\\v2.1";
        KLXStrProcess::convertPath2Cygwin(cygwin);
        say("in Cygwin form: " + cygwin);
    }
    return 0;
}
