#include <Quillon/platform/ui/alertcontroller.h>

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int TULOAlertWidth = 300;
constexpr int TULOActionSheetWidth = 320;
constexpr int TULOActionHeight = 40;

QFrame *hairline()
{
    auto *line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setFixedHeight(1);
    QPalette palette = line->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::Midlight));
    line->setPalette(palette);
    return line;
}

} // namespace

TULOAlertController::TULOAlertController(const QString &title, const QString &message,
                                         TULOAlertControllerStyle preferredStyle, QObject *parent)
    : TULOViewController(parent)
    , m_style(preferredStyle)
    , m_message(message)
{
    setTitle(title);
    setModalPresentationStyle(preferredStyle == TULOAlertControllerStyleActionSheet ? TULOModalPresentationStylePopover
                                                                                    : TULOModalPresentationStyleFormSheet);
    setPopoverPermittedArrowDirections(TULOPopoverArrowDirectionAny);
    connect(this, &TULOViewController::titleChanged, this, [this](const QString &text) {
        if (m_titleLabel) {
            m_titleLabel->setText(text);
            m_titleLabel->setVisible(!text.isEmpty());
        }
    });
}

TULOAlertController *TULOAlertController::alertControllerWithTitle(const QString &title, const QString &message,
                                                                   TULOAlertControllerStyle preferredStyle)
{
    return new TULOAlertController(title, message, preferredStyle);
}

void TULOAlertController::setMessage(const QString &message)
{
    m_message = message;
    if (m_messageLabel) {
        m_messageLabel->setText(message);
        m_messageLabel->setVisible(!message.isEmpty());
    }
}

void TULOAlertController::addAction(TULOAlertAction *action)
{
    if (!action || m_actions.contains(action))
        return;
    action->setParent(this);
    m_actions.append(action);
    connect(action, &TULOAlertAction::changed, this, [this, action] { updateButton(action); });
    if (isViewLoaded())
        rebuildButtons();
}

QList<TULOAlertAction *> TULOAlertController::actions() const
{
    QList<TULOAlertAction *> actions;
    for (const QPointer<TULOAlertAction> &action : m_actions) {
        if (action)
            actions.append(action);
    }
    return actions;
}

void TULOAlertController::startNewActionGroup()
{
    const int start = int(m_actions.size());
    if (start > 0 && !m_groupStarts.contains(start))
        m_groupStarts.append(start);
}

void TULOAlertController::setPreferredAction(TULOAlertAction *action)
{
    m_preferredAction = action;
    if (isViewLoaded())
        rebuildButtons();
}

void TULOAlertController::addTextFieldWithConfigurationHandler(const std::function<void(QLineEdit *)> &configure)
{
    m_textFieldConfigurations.append(configure);
    if (!m_fieldsLayout)
        return;
    auto *field = new QLineEdit;
    if (configure)
        configure(field);
    field->setAccessibleName(field->placeholderText().isEmpty() ? title() : field->placeholderText());
    m_fieldsLayout->addWidget(field);
    m_textFields.append(field);
}

QList<QLineEdit *> TULOAlertController::textFields() const
{
    const_cast<TULOAlertController *>(this)->view();
    QList<QLineEdit *> fields;
    for (const QPointer<QLineEdit> &field : m_textFields) {
        if (field)
            fields.append(field);
    }
    return fields;
}

void TULOAlertController::loadView()
{
    auto *root = new QWidget;
    root->setAccessibleName(title());
    auto *layout = new QVBoxLayout(root);
    // A sheet without a title starts with its first action.
    const bool bare = title().isEmpty() && m_message.isEmpty();
    layout->setContentsMargins(16, bare ? 4 : 16, 16, bare ? 4 : 12);
    layout->setSpacing(8);

    m_titleLabel = new QLabel(title());
    m_titleLabel->setTextFormat(Qt::PlainText);
    m_titleLabel->setWordWrap(true);
    m_titleLabel->setAlignment(Qt::AlignCenter);
    QFont titleFont = m_titleLabel->font();
    titleFont.setBold(true);
    if (m_style == TULOAlertControllerStyleActionSheet)
        titleFont.setPointSizeF(titleFont.pointSizeF() * 0.9);
    m_titleLabel->setFont(titleFont);
    m_titleLabel->setVisible(!title().isEmpty());
    layout->addWidget(m_titleLabel);

    m_messageLabel = new QLabel(m_message);
    m_messageLabel->setTextFormat(Qt::PlainText);
    m_messageLabel->setWordWrap(true);
    m_messageLabel->setAlignment(Qt::AlignCenter);
    if (m_style == TULOAlertControllerStyleActionSheet) {
        QPalette palette = m_messageLabel->palette();
        palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
        m_messageLabel->setPalette(palette);
    }
    m_messageLabel->setVisible(!m_message.isEmpty());
    layout->addWidget(m_messageLabel);

    m_fieldsLayout = new QVBoxLayout;
    m_fieldsLayout->setSpacing(6);
    layout->addLayout(m_fieldsLayout);
    for (const auto &configure : std::as_const(m_textFieldConfigurations)) {
        auto *field = new QLineEdit;
        if (configure)
            configure(field);
        field->setAccessibleName(field->placeholderText().isEmpty() ? title() : field->placeholderText());
        m_fieldsLayout->addWidget(field);
        m_textFields.append(field);
    }

    m_buttonArea = new QWidget;
    layout->addWidget(m_buttonArea);
    const int width = m_style == TULOAlertControllerStyleAlert ? TULOAlertWidth : TULOActionSheetWidth;
    root->setFixedWidth(width);
    if (m_style == TULOAlertControllerStyleActionSheet)
        root->setAttribute(Qt::WA_TranslucentBackground);
    setView(root);
    rebuildButtons();
}

void TULOAlertController::viewDidAppear(bool animated)
{
    TULOViewController::viewDidAppear(animated);
    // Focus goes where typing or Return is most useful: the first field, else the preferred action.
    if (!m_textFields.isEmpty() && m_textFields.first())
        m_textFields.first()->setFocus();
    else if (QPushButton *button = buttonForAction(m_preferredAction))
        button->setFocus();
}

TULOAlertAction *TULOAlertController::cancelAction() const
{
    for (TULOAlertAction *action : actions()) {
        if (action->style() == TULOAlertActionStyleCancel)
            return action;
    }
    return nullptr;
}

QPushButton *TULOAlertController::makeButton(TULOAlertAction *action)
{
    auto *button = new QPushButton;
    button->setFlat(true);
    button->setAutoDefault(false);
    button->setMinimumHeight(TULOActionHeight);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    const QPointer<TULOAlertAction> weak(action);
    connect(button, &QPushButton::clicked, this, [this, weak] {
        if (weak)
            triggerAction(weak);
    });
    m_buttons.insert(action, button);
    updateButton(action);
    return button;
}

void TULOAlertController::updateButton(TULOAlertAction *action)
{
    QPushButton *button = m_buttons.value(action);
    if (!button)
        return;
    button->setText(action->title());
    button->setAccessibleName(action->title());
    button->setEnabled(action->isEnabled());
    QFont font = button->font();
    font.setBold(action->style() == TULOAlertActionStyleCancel || action == m_preferredAction);
    button->setFont(font);
    QPalette palette = button->palette();
    const QColor text = action->style() == TULOAlertActionStyleDestructive ? QColor(0xd7, 0x26, 0x1e)
                                                                             : palette.color(QPalette::Highlight);
    palette.setColor(QPalette::Active, QPalette::ButtonText, text);
    palette.setColor(QPalette::Inactive, QPalette::ButtonText, text);
    button->setPalette(palette);
}

void TULOAlertController::rebuildButtons()
{
    if (!m_buttonArea)
        return;
    for (const QPointer<QPushButton> &button : std::as_const(m_buttons))
        delete button;
    m_buttons.clear();
    delete m_buttonArea->layout();
    qDeleteAll(m_buttonArea->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly));

    const QList<TULOAlertAction *> all = actions();
    TULOAlertAction *cancel = cancelAction();
    if (m_style == TULOAlertControllerStyleAlert && all.size() == 2) {
        // Two choices side by side, Cancel first.
        auto *row = new QHBoxLayout(m_buttonArea);
        row->setContentsMargins(0, 4, 0, 0);
        QList<TULOAlertAction *> ordered = all;
        if (cancel && ordered.last() == cancel)
            std::swap(ordered[0], ordered[1]);
        for (TULOAlertAction *action : ordered)
            row->addWidget(makeButton(action));
        return;
    }
    auto *column = new QVBoxLayout(m_buttonArea);
    column->setContentsMargins(0, 4, 0, 0);
    column->setSpacing(0);
    // Groups as added; the cancel action closes the list in a group of its own.
    for (qsizetype i = 0; i < m_actions.size(); ++i) {
        TULOAlertAction *action = m_actions.at(i);
        if (!action || action == cancel)
            continue;
        if (column->count() > 0)
            column->addWidget(hairline());
        if (m_groupStarts.contains(int(i)) && column->count() > 1)
            column->addSpacing(6);
        column->addWidget(makeButton(action));
    }
    if (cancel) {
        if (column->count() > 0) {
            column->addSpacing(m_style == TULOAlertControllerStyleActionSheet ? 8 : 0);
            column->addWidget(hairline());
        }
        column->addWidget(makeButton(cancel));
    }
    // Tab order follows the buttons top to bottom.
    QWidget *previous = nullptr;
    for (int i = 0; i < column->count(); ++i) {
        auto *button = qobject_cast<QPushButton *>(column->itemAt(i)->widget());
        if (!button)
            continue;
        if (previous)
            QWidget::setTabOrder(previous, button);
        previous = button;
    }
}

QPushButton *TULOAlertController::buttonForAction(TULOAlertAction *action) const
{
    const_cast<TULOAlertController *>(this)->view();
    return action ? m_buttons.value(action) : nullptr;
}

bool TULOAlertController::triggerAction(TULOAlertAction *action)
{
    if (!action || m_actionChosen || !action->isEnabled() || !m_actions.contains(action))
        return false;
    m_actionChosen = true;
    const TULOAlertAction::Handler handler = action->handler();
    const QPointer<TULOAlertAction> chosen(action);
    auto run = [handler, chosen] {
        if (handler && chosen)
            handler(chosen);
    };
    // The handler runs once the alert is gone, so it may present something else right away.
    if (presentingViewController() && !isBeingDismissed())
        dismissViewController(true, run);
    else
        run();
    return true;
}

QSize TULOAlertController::preferredContentSize() const
{
    const QSize own = TULOViewController::preferredContentSize();
    if (!own.isEmpty())
        return own;
    QWidget *root = const_cast<TULOAlertController *>(this)->view();
    return root->sizeHint().expandedTo(root->minimumSizeHint()).expandedTo(root->minimumSize());
}

bool TULOAlertController::performCancelAction()
{
    if (m_actionChosen)
        return true;
    if (TULOAlertAction *cancel = cancelAction())
        return triggerAction(cancel) || true;
    m_actionChosen = true;
    if (presentingViewController() && !isBeingDismissed())
        dismissViewController(true);
    return true;
}

bool TULOAlertController::performDefaultAction()
{
    TULOAlertAction *action = m_preferredAction;
    if (!action) {
        // Without a preferred action, the only non-cancel action is the default.
        QList<TULOAlertAction *> candidates;
        for (TULOAlertAction *candidate : actions()) {
            if (candidate->style() != TULOAlertActionStyleCancel)
                candidates.append(candidate);
        }
        if (candidates.size() == 1)
            action = candidates.first();
    }
    return action && triggerAction(action);
}
