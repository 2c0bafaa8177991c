#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QHash>
#include <QList>
#include <QPointer>

class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

enum TULOAlertControllerStyle {
    TULOAlertControllerStyleActionSheet = 0,
    TULOAlertControllerStyleAlert = 1,
};

// An alert (a small dialog) or an action sheet (a menu of actions, shown as a popover anchored at
// its source view, or as a dialog without one). Choosing an action dismisses the controller and
// then runs the action's handler, once; Escape chooses the cancel action, or just closes.
class QUILLON_EXPORT TULOAlertController : public TULOViewController
{
    Q_OBJECT

public:
    TULOAlertController(const QString &title, const QString &message, TULOAlertControllerStyle preferredStyle,
                        QObject *parent = nullptr);
    static TULOAlertController *alertControllerWithTitle(const QString &title, const QString &message,
                                                         TULOAlertControllerStyle preferredStyle);

    TULOAlertControllerStyle preferredStyle() const { return m_style; }
    QString message() const { return m_message; }
    void setMessage(const QString &message);

    // Takes ownership of the action.
    void addAction(TULOAlertAction *action);
    QList<TULOAlertAction *> actions() const;
    // Starts a new visual group: later actions are set apart from the earlier ones.
    void startNewActionGroup();
    TULOAlertAction *preferredAction() const { return m_preferredAction; }
    void setPreferredAction(TULOAlertAction *action);

    // A text field for a prompt; `configure` sets it up (placeholder, echo mode, ...).
    void addTextFieldWithConfigurationHandler(const std::function<void(QLineEdit *)> &configure = {});
    QList<QLineEdit *> textFields() const;

    // What choosing the action does: dismissal, then the handler. Returns false when an action
    // was already chosen or this one is disabled.
    bool triggerAction(TULOAlertAction *action);
    QPushButton *buttonForAction(TULOAlertAction *action) const;

    // Alerts and sheets are as large as their content, unless told otherwise.
    QSize preferredContentSize() const override;

    bool performCancelAction() override;
    bool performDefaultAction() override;

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    void rebuildButtons();
    void updateButton(TULOAlertAction *action);
    QPushButton *makeButton(TULOAlertAction *action);
    TULOAlertAction *cancelAction() const;

    TULOAlertControllerStyle m_style;
    QString m_message;
    QList<QPointer<TULOAlertAction>> m_actions;
    QList<int> m_groupStarts; // indexes into m_actions where a group begins
    QPointer<TULOAlertAction> m_preferredAction;
    QList<std::function<void(QLineEdit *)>> m_textFieldConfigurations;
    QList<QPointer<QLineEdit>> m_textFields;
    QHash<TULOAlertAction *, QPointer<QPushButton>> m_buttons;
    QLabel *m_titleLabel = nullptr;
    QLabel *m_messageLabel = nullptr;
    QVBoxLayout *m_fieldsLayout = nullptr;
    QWidget *m_buttonArea = nullptr;
    bool m_actionChosen = false;
};
