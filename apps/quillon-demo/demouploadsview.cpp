#include "demouploadsview.h"

#include <Quillon/platform/store/postoutboxmodel.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace {
constexpr int DemoUploadMargin = 6;
}

QString DemoUploadDelegate::statusText(const QModelIndex &index)
{
    const auto state = index.data(TULOPostOutboxModel::StateRole).value<TULOPostOutboxModel::State>();
    const int attempts = index.data(TULOPostOutboxModel::AttemptsRole).toInt();
    const QString error = index.data(TULOPostOutboxModel::LastErrorRole).toString();
    switch (state) {
    case TULOPostOutboxModel::Sending: {
        const qint64 total = index.data(TULOPostOutboxModel::BytesTotalRole).toLongLong();
        const qint64 sent = index.data(TULOPostOutboxModel::BytesSentRole).toLongLong();
        return total > 0 ? QObject::tr("Sending: %1 %").arg(sent * 100 / total) : QObject::tr("Sending");
    }
    case TULOPostOutboxModel::SendingElsewhere:
        return QObject::tr("Sent by another window");
    case TULOPostOutboxModel::Refused:
        return QObject::tr("Refused by the store: %1").arg(error);
    case TULOPostOutboxModel::Pending:
        break;
    }
    if (attempts == 0)
        return QObject::tr("Waiting to be sent");
    return QObject::tr("Waiting to retry (attempt %1): %2").arg(attempts + 1).arg(error);
}

void DemoUploadDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    item.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

    const QRect area = option.rect.adjusted(DemoUploadMargin, DemoUploadMargin, -DemoUploadMargin, -DemoUploadMargin);
    const QFontMetrics metrics(option.font);
    const bool selected = option.state & QStyle::State_Selected;
    painter->save();
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    const QString text = metrics.elidedText(index.data(TULOPostOutboxModel::TextRole).toString().simplified(), Qt::ElideRight, area.width());
    painter->drawText(QRect(area.topLeft(), QSize(area.width(), metrics.height())), Qt::AlignLeft | Qt::AlignVCenter, text);
    QFont small = option.font;
    small.setPointSizeF(small.pointSizeF() * 0.9);
    painter->setFont(small);
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText));
    const QRect statusRect(area.left(), area.top() + metrics.height() + 2, area.width(), metrics.height());
    painter->drawText(statusRect, Qt::AlignLeft | Qt::AlignVCenter,
        QFontMetrics(small).elidedText(statusText(index), Qt::ElideRight, area.width()));
    painter->restore();

    const qint64 total = index.data(TULOPostOutboxModel::BytesTotalRole).toLongLong();
    if (index.data(TULOPostOutboxModel::StateRole).value<TULOPostOutboxModel::State>() == TULOPostOutboxModel::Sending && total > 0) {
        QStyleOptionProgressBar bar;
        bar.rect = QRect(area.left(), statusRect.bottom() + 4, area.width(), metrics.height() / 2 + 2);
        bar.minimum = 0;
        bar.maximum = 1000;
        bar.progress = int(index.data(TULOPostOutboxModel::BytesSentRole).toLongLong() * 1000 / total);
        bar.state = QStyle::State_Enabled | QStyle::State_Horizontal;
        bar.palette = option.palette;
        style->drawControl(QStyle::CE_ProgressBar, &bar, painter, widget);
    }
}

QSize DemoUploadDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    const int line = QFontMetrics(option.font).height();
    return QSize(240, 2 * DemoUploadMargin + 2 * line + line / 2 + 10);
}

DemoUploadsView::DemoUploadsView(TULOPostOutboxModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_list(new QListView(this))
    , m_empty(new QLabel(tr("No uploads waiting."), this))
    , m_retry(new QPushButton(tr("&Retry"), this))
    , m_discard(new QPushButton(tr("&Discard"), this))
{
    m_list->setModel(model);
    m_list->setItemDelegate(new DemoUploadDelegate(m_list));
    m_list->setAccessibleName(tr("Pending uploads"));
    m_list->setUniformItemSizes(true);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setEnabled(false);
    m_retry->setAccessibleName(tr("Retry the selected upload"));
    m_discard->setAccessibleName(tr("Discard the selected upload"));

    auto *stack = new QStackedLayout;
    stack->addWidget(m_list);
    stack->addWidget(m_empty);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_retry);
    buttons->addWidget(m_discard);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(stack);
    layout->addLayout(buttons);

    const auto key = [this] {
        const QModelIndex current = m_list->currentIndex();
        return current.isValid() ? current.data(TULOPostOutboxModel::KeyRole).toString() : QString();
    };
    connect(m_retry, &QPushButton::clicked, this, [this, key] { m_model->retry(key()); });
    connect(m_discard, &QPushButton::clicked, this, [this, key] { m_model->discard(key()); });
    connect(model, &QAbstractItemModel::rowsInserted, this, &DemoUploadsView::updateState);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &DemoUploadsView::updateState);
    connect(model, &QAbstractItemModel::modelReset, this, &DemoUploadsView::updateState);
    connect(model, &QAbstractItemModel::dataChanged, this, &DemoUploadsView::updateState);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, &DemoUploadsView::updateState);
    m_stack = stack;
    updateState();
}

void DemoUploadsView::updateState()
{
    m_stack->setCurrentIndex(m_model->rowCount() > 0 ? 0 : 1);
    const QModelIndex current = m_list->currentIndex();
    const auto state = current.data(TULOPostOutboxModel::StateRole).value<TULOPostOutboxModel::State>();
    m_retry->setEnabled(current.isValid() && state != TULOPostOutboxModel::Sending && state != TULOPostOutboxModel::SendingElsewhere);
    m_discard->setEnabled(current.isValid() && state != TULOPostOutboxModel::Sending);
}
