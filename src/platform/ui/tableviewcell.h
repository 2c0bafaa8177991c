#pragma once

#include <Quillon/quillon_export.h>

#include <QImage>
#include <QString>
#include <QWidget>

class QHBoxLayout;
class QLabel;
class QVariantAnimation;

enum TULOTableViewCellAccessoryType {
    TULOTableViewCellAccessoryNone = 0,
    TULOTableViewCellAccessoryDisclosureIndicator = 1,
    TULOTableViewCellAccessoryDetailDisclosureButton = 2,
    TULOTableViewCellAccessoryCheckmark = 3,
};

enum TULOTableViewCellSelectionStyle {
    TULOTableViewCellSelectionStyleNone = 0,
    TULOTableViewCellSelectionStyleDefault = 3,
};

// One row of a table: an optional image, a title with an optional detail line, room for value
// widgets added by subclasses, and an accessory drawn at the trailing edge.
class QUILLON_EXPORT TULOTableViewCell : public QWidget
{
    Q_OBJECT

public:
    explicit TULOTableViewCell(QWidget *parent = nullptr);
    ~TULOTableViewCell() override;

    QString reuseIdentifier() const { return m_reuseIdentifier; }
    void setReuseIdentifier(const QString &identifier) { m_reuseIdentifier = identifier; }

    QLabel *textLabel() const { return m_textLabel; }
    QLabel *detailTextLabel() const { return m_detailTextLabel; }
    void setText(const QString &text);
    QString text() const;
    void setDetailText(const QString &text);

    // Image at the leading edge, drawn into imageSize() points; its device pixel ratio is kept.
    QImage image() const { return m_image; }
    void setImage(const QImage &image);
    QSize imageSize() const { return m_imageSize; }
    void setImageSize(const QSize &size);

    TULOTableViewCellAccessoryType accessoryType() const { return m_accessoryType; }
    void setAccessoryType(TULOTableViewCellAccessoryType type);

    TULOTableViewCellSelectionStyle selectionStyle() const { return m_selectionStyle; }
    void setSelectionStyle(TULOTableViewCellSelectionStyle style) { m_selectionStyle = style; }

    bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted, bool animated = false);
    bool isSelected() const { return m_selected; }
    void setSelected(bool selected, bool animated = false);
    // Keyboard focus of the table on this row.
    void setFocusIndicated(bool indicated);

    // Called before a cell is handed out again by the table; resets the per-row state.
    virtual void prepareForReuse();

    // The colour a control's active state and button titles use.
    static QColor tintColor(const QPalette &palette);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    static constexpr int TULORowHeight = 44;
    static constexpr int TULOHorizontalMargin = 16;

Q_SIGNALS:
    void pressed();
    void released(bool inside);

protected:
    // Subclasses add value widgets here; they sit between the title and the accessory.
    QHBoxLayout *trailingLayout() const { return m_trailing; }
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;
    virtual void updateAccessibility();
    // For cells that lay out their own label: the title column takes no room.
    void hideTitleColumn();

private:
    void updateMargins();
    void animateHighlight(double target, bool animated);

    QString m_reuseIdentifier;
    QLabel *m_textLabel;
    QLabel *m_detailTextLabel;
    QHBoxLayout *m_layout;
    QHBoxLayout *m_trailing;
    QImage m_image;
    QSize m_imageSize = QSize(29, 29);
    TULOTableViewCellAccessoryType m_accessoryType = TULOTableViewCellAccessoryNone;
    TULOTableViewCellSelectionStyle m_selectionStyle = TULOTableViewCellSelectionStyleDefault;
    bool m_highlighted = false;
    bool m_selected = false;
    bool m_focusIndicated = false;
    bool m_pressed = false;
    double m_highlightLevel = 0.0;
    QVariantAnimation *m_highlightAnimation = nullptr;
};
