#pragma once

#include <Quillon/quillon_export.h>

#include <QWidget>

class QLabel;
class QPushButton;

// The header row "Post as  <author>", whose name opens the author menu.
class QUILLON_EXPORT TULOAuthorView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOAuthorView(QWidget *parent = nullptr);

    QString labelText() const;
    void setLabelText(const QString &text);
    QString authorName() const;
    void setAuthorName(const QString &name);
    QPushButton *authorNameButton() const { return m_authorNameButton; }

private:
    QLabel *m_label = nullptr;
    QPushButton *m_authorNameButton = nullptr;
};
