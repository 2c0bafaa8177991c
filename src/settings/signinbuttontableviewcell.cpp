#include <Quillon/settings/signinbuttontableviewcell_p.h>

#include <Quillon/platform/ui/activityindicatorview.h>

TULOSignInButtonTableViewCell::TULOSignInButtonTableViewCell(QWidget *parent)
    : TULOSettingsButtonTableViewCell(parent)
    , m_activityIndicator(new TULOActivityIndicatorView(TULOActivityIndicatorViewStyleMedium, this))
{
    m_activityIndicator->setHidesWhenStopped(true);
    m_activityIndicator->hide();
}

void TULOSignInButtonTableViewCell::resizeEvent(QResizeEvent *event)
{
    TULOSettingsButtonTableViewCell::resizeEvent(event);
    // Beside the centred title, not in the layout, so the title stays centred.
    const QSize size = m_activityIndicator->sizeHint();
    m_activityIndicator->setGeometry(width() - TULOHorizontalMargin - size.width(), (height() - size.height()) / 2,
                                     size.width(), size.height());
}
