#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/tableviewcell.h>

// A row that acts as a button: its title centred, in the tint colour, greyed while disabled.
class QUILLON_EXPORT TULOSettingsButtonTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    explicit TULOSettingsButtonTableViewCell(QWidget *parent = nullptr);

    QString title() const { return text(); }
    void setTitle(const QString &title);

    void prepareForReuse() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateColor();
};
