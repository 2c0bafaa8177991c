#pragma once

#include <QObject>
#include <QPointer>

// A delegate held weakly. Delegates that are QObjects are tracked and read as null once
// destroyed; others must clear themselves before they go.
template <typename T>
class TULOWeakDelegate
{
public:
    void set(T *delegate)
    {
        m_delegate = delegate;
        m_object = dynamic_cast<QObject *>(delegate);
        m_tracked = !m_object.isNull();
    }
    T *get() const { return m_tracked && m_object.isNull() ? nullptr : m_delegate; }

private:
    T *m_delegate = nullptr;
    QPointer<QObject> m_object;
    bool m_tracked = false;
};
