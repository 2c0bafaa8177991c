#pragma once

#include <Quillon/platform/clientcontext.h>
#include "sandboxstore.h"

#include <QTest>

#include <mutex>
#include <optional>

// Collects one (value, error) callback that arrives on another thread, for QTRY_ waits on the
// main thread (which keeps dispatching, so prompts can run there).
template<class T>
class TULOCallbackResult
{
public:
    void deliver(const T &value, const TULOError &error)
    {
        std::lock_guard lock(m_mutex);
        ++m_calls;
        m_value = value;
        m_error = error;
    }
    int calls() const
    {
        std::lock_guard lock(m_mutex);
        return m_calls;
    }
    T value() const
    {
        std::lock_guard lock(m_mutex);
        return m_value;
    }
    TULOError error() const
    {
        std::lock_guard lock(m_mutex);
        return m_error;
    }

private:
    mutable std::mutex m_mutex;
    int m_calls = 0;
    T m_value{};
    TULOError m_error;
};

// Hang guard for waits on the sandbox; generous, and never a measurement.
constexpr int TULOStoreTestWait = 30000;

inline TULOClientContext TULOSandboxContext(const TULOSandboxStore &store, int timeout = 5000)
{
    TULOClientContext context(store.bagUrl());
    context.setRequestTimeout(timeout);
    context.setValueForConfigurationKey(QStringLiteral("en_GB"), QString::fromLatin1(TULOClientConfigurationLocaleKey));
    context.setValueForConfigurationKey(QStringLiteral("143441-1,32"), QString::fromLatin1(TULOClientConfigurationStorefrontSuffixKey));
    return context;
}
