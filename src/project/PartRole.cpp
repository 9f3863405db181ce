// The names of part roles, as messages and the tools show them.
#include "format3mf/PartRole.h"

namespace Format_3MF
{
char const* PartRoleName(PartRole role)
{
    switch (role)
    {
    case PartRole::Printable:
        return "printable part";
    case PartRole::NegativeVolume:
        return "negative volume";
    case PartRole::Modifier:
        return "modifier";
    case PartRole::SupportBlocker:
        return "support blocker";
    case PartRole::SupportEnforcer:
        return "support enforcer";
    }
    return "unknown role";
}
} // namespace Format_3MF
