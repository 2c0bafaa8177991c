#pragma once

#include <Quillon/platform/ui/settingsbuttontableviewcell.h>

class TULOActivityIndicatorView;

// The Sign In row: a button row with a spinner at its trailing edge while signing in.
class TULOSignInButtonTableViewCell : public TULOSettingsButtonTableViewCell
{
    Q_OBJECT

public:
    explicit TULOSignInButtonTableViewCell(QWidget *parent = nullptr);

    TULOActivityIndicatorView *activityIndicator() const { return m_activityIndicator; }

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    TULOActivityIndicatorView *m_activityIndicator;
};
