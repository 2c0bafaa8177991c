#pragma once

#include <QString>

// One misbehaviour of the sandbox store, injected per instance for tests.
class TULOSandboxFault
{
public:
    enum class Kind {
        Delay,          // wait, then answer normally
        Status,         // answer with an HTTP status and a failure reply
        MalformedBody,  // 200 with a body that is not JSON
        WrongTypes,     // 200 with the real reply, every top-level value of the wrong type
        DropConnection, // headers, part of a body, then the connection is closed
    };

    static TULOSandboxFault delay(int milliseconds);
    static TULOSandboxFault status(int httpStatus);
    static TULOSandboxFault malformedBody();
    static TULOSandboxFault wrongTypes();
    static TULOSandboxFault dropConnection();

    Kind kind() const { return m_kind; }
    int milliseconds() const { return m_value; }
    int httpStatus() const { return m_value; }

private:
    TULOSandboxFault(Kind kind, int value) : m_kind(kind), m_value(value) {}
    Kind m_kind;
    int m_value;
};
