// The functions behind the rows of the command table, one per command.
#ifndef APPLETCTL_COMMANDS_H
#define APPLETCTL_COMMANDS_H

#include "cli.h"

namespace appletctl {

Status cmdInfo(Session& s, const Command& c);
Status cmdList(Session& s, const Command& c);
Status cmdGet(Session& s, const Command& c);
Status cmdSet(Session& s, const Command& c);
Status cmdDescribe(Session& s, const Command& c);
Status cmdReset(Session& s, const Command& c);
Status cmdXml(Session& s, const Command& c);
Status cmdSave(Session& s, const Command& c);
Status cmdLoad(Session& s, const Command& c);
Status cmdCheck(Session& s, const Command& c);
Status cmdDiff(Session& s, const Command& c);
Status cmdLutSave(Session& s, const Command& c);
Status cmdLutLoad(Session& s, const Command& c);
Status cmdGrab(Session& s, const Command& c);
Status cmdServe(Session& s, const Command& c);
Status cmdHelp(Session& s, const Command& c);

}  // namespace appletctl

#endif  // APPLETCTL_COMMANDS_H
