#include "sandboxfault.h"

TULOSandboxFault TULOSandboxFault::delay(int milliseconds)
{
    return TULOSandboxFault(Kind::Delay, milliseconds < 0 ? 0 : milliseconds);
}

TULOSandboxFault TULOSandboxFault::status(int httpStatus)
{
    return TULOSandboxFault(Kind::Status, httpStatus);
}

TULOSandboxFault TULOSandboxFault::malformedBody()
{
    return TULOSandboxFault(Kind::MalformedBody, 0);
}

TULOSandboxFault TULOSandboxFault::wrongTypes()
{
    return TULOSandboxFault(Kind::WrongTypes, 0);
}

TULOSandboxFault TULOSandboxFault::dropConnection()
{
    return TULOSandboxFault(Kind::DropConnection, 0);
}
