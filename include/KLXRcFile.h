// KlxCore: variable definitions in a bash start-up file.
#ifndef KLX_RC_FILE_H
#define KLX_RC_FILE_H

#include "KLXTextFile.h"

// Variables are defined by lines that begin with 'export NAME=' exactly;
// values are written between double quotes.
class KLX_API KLXRcFile : public KLXTextFile {
public:
    KLXRcFile(std::string& path, int mode);
    ~KLXRcFile() {}

    // The value of the first definition of `name`, or "". The result is
    // shared by every call on every object: copy it to keep it.
    std::string& getValue(std::string& name);
    // Defines or redefines the variable in memory; write() saves it.
    void setValue(std::string& name, std::string& value);

protected:
    int getVariableDefinitionLine(std::string& name);
    // 'export NAME=', in a result shared by every call.
    std::string& getVariableDefinitionTemplate(std::string& name);
};

#endif // KLX_RC_FILE_H
