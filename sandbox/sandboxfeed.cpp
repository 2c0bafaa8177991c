// The feed page: posts as a reader of the store sees them.
#include "sandboxposts.h"
#include "sandboxstore_p.h"

#include <QRegularExpression>

namespace {

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

// Tag tokens become links named after the tag; the rest of the text is escaped, line breaks kept.
QString textWithTags(const QString &text, const QString &base)
{
    static const QRegularExpression token(QStringLiteral(R"re(@\{([^:]+):([^:]+):"([^"]+)"\})re"));
    QString html;
    qsizetype last = 0;
    for (auto it = token.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        html += escaped(text.mid(last, match.capturedStart() - last));
        html += QStringLiteral("<a class=\"tag tag-%1\" "
                               "href=\"%2/catalog/lookup?id=%3&amp;profile=lockup&amp;version=2\">%4</a>")
                    .arg(escaped(match.captured(1)), base,
                        QString::fromLatin1(QUrl::toPercentEncoding(match.captured(2))),
                        escaped(match.captured(3)));
        last = match.capturedEnd();
    }
    html += escaped(text.mid(last));
    return html.replace(QLatin1Char('\n'), QStringLiteral("<br>"));
}

QString serviceName(const QString &service)
{
    return service == QLatin1String("facebook") ? QStringLiteral("Facebook") : QStringLiteral("Twitter");
}

const char *const TULOSandboxFeedStyle = R"CSS(
body { font-family: sans-serif; background: #f3f3f5; color: #1d1d1f; margin: 0; }
header { background: #1d1d1f; color: #fff; padding: 12px 24px; font-size: 20px; }
main { max-width: 720px; margin: 0 auto; padding: 16px; }
article { background: #fff; border-radius: 10px; padding: 16px; margin-bottom: 16px; box-shadow: 0 1px 3px rgba(0,0,0,.15); }
.byline { font-weight: bold; }
.attribution, .created, .crosspost { color: #6e6e73; font-size: 13px; }
.text { margin: 10px 0; line-height: 1.4; }
a.tag { color: #d6246e; text-decoration: none; font-weight: 600; }
figure { margin: 12px 0; }
figure img.photo { max-width: 100%; border-radius: 6px; }
.song { display: flex; gap: 12px; align-items: center; }
.song img.cover { width: 96px; height: 96px; object-fit: cover; border-radius: 4px; }
video { max-width: 100%; background: #000; }
figcaption .title { font-weight: 600; }
.explicit { display: inline-block; background: #6e6e73; color: #fff; font-size: 10px; padding: 0 4px; border-radius: 2px; }
.empty { color: #6e6e73; text-align: center; padding: 48px; }
)CSS";

} // namespace

QByteArray TULOSandboxPosts::feedPage(const QList<TULOSandboxPost> &posts) const
{
    const QString base = m_store->base();
    QString html = QStringLiteral(
        "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Artist feed</title>"
        "<style>%1</style></head><body><header>Artist feed</header><main>")
                       .arg(QString::fromLatin1(TULOSandboxFeedStyle));
    if (posts.isEmpty())
        html += QStringLiteral("<p class=\"empty\">No posts yet.</p>");
    for (const TULOSandboxPost &post : posts) {
        html += QStringLiteral("<article class=\"post\" id=\"post-%1\" data-author-id=\"%2\">")
                    .arg(post.postIdentifier, escaped(post.authorIdentifier));
        html += QStringLiteral("<div class=\"byline\">%1</div>").arg(escaped(post.authorName));
        if (post.attributed)
            html += QStringLiteral("<div class=\"attribution\">posted by %1</div>")
                        .arg(escaped(post.attributionName));
        html += QStringLiteral("<div class=\"created\">%1</div>").arg(escaped(post.created));
        html += QStringLiteral("<p class=\"text\">%1</p>").arg(textWithTags(post.text, base));
        for (const TULOSandboxPostAttachment &a : post.attachments) {
            const QString url = fileURL(post, a);
            const QString cover = a.children.isEmpty() ? QString() : fileURL(post, a.children.first());
            QString caption = QStringLiteral("<span class=\"title\">%1</span>").arg(escaped(a.title));
            if (a.explicitContent)
                caption += QStringLiteral(" <span class=\"explicit\">E</span>");
            if (!a.subtitle.isEmpty())
                caption += QStringLiteral("<div class=\"subtitle\">%1</div>").arg(escaped(a.subtitle));
            QStringList artists;
            for (const QJsonValue &artist : a.artists)
                artists.append(escaped(artist.toObject().value(QStringLiteral("name")).toString()));
            if (!artists.isEmpty())
                caption += QStringLiteral("<div class=\"artists\">%1</div>")
                               .arg(artists.join(QStringLiteral(", ")));
            if (!a.albumName.isEmpty())
                caption += QStringLiteral("<div class=\"album\">%1</div>").arg(escaped(a.albumName));
            switch (a.type) {
            case 2:
                html += QStringLiteral("<figure class=\"image\"><img class=\"photo\" src=\"%1\" "
                                       "alt=\"%2\"><figcaption>%3</figcaption></figure>")
                            .arg(url, escaped(a.title), caption);
                break;
            case 4: {
                // The chosen cover frame: the cover image when sent, else the frame at its time.
                const QString source = a.previewFrameTime >= 0
                    ? url + QStringLiteral("#t=%1").arg(a.previewFrameTime / 1000.0)
                    : url;
                const QString poster
                    = cover.isEmpty() ? QString() : QStringLiteral(" poster=\"%1\"").arg(cover);
                html += QStringLiteral("<figure class=\"video\"><video controls preload=\"metadata\" "
                                       "src=\"%1\"%2></video><figcaption>%3</figcaption></figure>")
                            .arg(source, poster, caption);
                break;
            }
            default: {
                const QString coverImage = cover.isEmpty()
                    ? QString()
                    : QStringLiteral("<img class=\"cover\" src=\"%1\" alt=\"%2\">")
                          .arg(cover, escaped(a.children.first().title));
                html += QStringLiteral("<figure class=\"song\">%1<div><figcaption>%2</figcaption><audio "
                                       "controls preload=\"metadata\" src=\"%3\"></audio></div></figure>")
                            .arg(coverImage, caption, url);
                break;
            }
            }
        }
        if (!post.destinations.isEmpty()) {
            QStringList names;
            for (const TULOSandboxPostDestination &d : post.destinations)
                names.append(d.pageIdentifier.isNull() ? serviceName(d.service)
                                                       : serviceName(d.service) + QStringLiteral(" (page)"));
            html += QStringLiteral("<div class=\"crosspost\">Also shared to %1</div>")
                        .arg(names.join(QStringLiteral(", ")));
        }
        html += QStringLiteral("</article>");
    }
    html += QStringLiteral("</main></body></html>");
    return html.toUtf8();
}
