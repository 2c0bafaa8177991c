#pragma once

#include <Quillon/compose/authoralertactionview.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/quillon_export.h>

#include <QHash>
#include <QImage>
#include <QPointer>

#include <functional>
#include <memory>

class TULOResourceLoader;

// The author menu: an action sheet with one row per author, each showing the author's picture
// (a placeholder until the store's artwork arrives through the resource loader) and name.
class QUILLON_EXPORT TULOAuthorSelectionAlertController : public TULOAlertController, public TULOArtworkRequestDelegate
{
    Q_OBJECT

public:
    TULOAuthorSelectionAlertController(const QString &title, const QString &message, TULOAlertControllerStyle preferredStyle,
                                       QObject *parent = nullptr);
    ~TULOAuthorSelectionAlertController() override;
    static TULOAuthorSelectionAlertController *alertControllerWithTitle(const QString &title, const QString &message,
                                                                        TULOAlertControllerStyle preferredStyle);

    // Not owned; the artwork of authors with a thumbnail is loaded through it when set.
    TULOResourceLoader *resourceLoader() const { return m_resourceLoader; }
    void setResourceLoader(TULOResourceLoader *loader) { m_resourceLoader = loader; }

    // The action for choosing `author`; `handler` runs when it is chosen.
    TULOAlertAction *addActionWithAuthor(const TULOPostAuthor &author, const std::function<void()> &handler);

    // The row content of an author's action (made with the view).
    TULOAuthorAlertActionView *actionViewForAction(TULOAlertAction *action) const;
    QImage placeholderImage() const { return m_placeholderImage; }

    void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image) override;

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;

private:
    struct AuthorAction
    {
        QPointer<TULOAlertAction> action;
        TULOPostAuthor author;
        std::shared_ptr<TULOArtworkRequest> request;
        QPointer<TULOAuthorAlertActionView> view;
        QImage image;
    };

    std::shared_ptr<TULOArtworkRequest> newArtworkRequestForAuthor(const TULOPostAuthor &author);
    void installActionViews();

    TULOResourceLoader *m_resourceLoader = nullptr;
    QList<AuthorAction> m_authorActions;
    QImage m_placeholderImage;
};
