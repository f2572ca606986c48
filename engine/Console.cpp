// The engine's objects by tag, and what the plug-in interface does unless it is overridden.
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/DbgUIConsole.h"

namespace {

DbgUserInterface* g_userInterface = nullptr;

} // namespace

void* DbgEngineInterface::GetInterface(u32 tag)
{
    return tag == kUserInterface ? g_userInterface : nullptr;
}

void DbgEngineInterface::SetUserInterface(DbgUserInterface* userInterface)
{
    g_userInterface = userInterface;
}

DbgSymbolicInterface::~DbgSymbolicInterface() = default;

bool DbgSymbolicInterface::GetCodeType(const DbgSymContext* /*ctx*/, const DbgAddress* /*address*/, u32* /*codeType*/,
                                       u32* /*runLength*/, const DbgContext* /*dbgContext*/)
{
    return false;
}
