#pragma once

#include <Quillon/quillon_export.h>

#include <QPushButton>
#include <QWidget>

class QLabel;

// The header row that names who posts: a label ("Post as") and the author's name as a button
// that opens the author menu.
class QUILLON_EXPORT TULOAuthorView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOAuthorView(QWidget *parent = nullptr);
    ~TULOAuthorView() override;

    QString labelText() const;
    void setLabelText(const QString &text);
    QString authorName() const { return m_authorName; }
    void setAuthorName(const QString &name);
    QPushButton *authorNameButton() const { return m_authorNameButton; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void updateAccessibility();

    QLabel *m_label;
    QPushButton *m_authorNameButton;
    QString m_authorName;
};
