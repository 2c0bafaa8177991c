#include <Quillon/compose/authorview.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

TULOAuthorView::TULOAuthorView(QWidget *parent)
    : QWidget(parent)
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    m_label = new QLabel;
    m_authorNameButton = new QPushButton;
    m_authorNameButton->setFlat(true);
    m_label->setBuddy(m_authorNameButton);
    row->addWidget(m_label);
    row->addWidget(m_authorNameButton);
    row->addStretch();
}

QString TULOAuthorView::labelText() const
{
    return m_label->text();
}

void TULOAuthorView::setLabelText(const QString &text)
{
    m_label->setText(text);
}

QString TULOAuthorView::authorName() const
{
    return m_authorNameButton->text();
}

void TULOAuthorView::setAuthorName(const QString &name)
{
    m_authorNameButton->setText(name);
    m_authorNameButton->setAccessibleName(m_label->text() + QLatin1Char(' ') + name);
}
