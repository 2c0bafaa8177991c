#include <Quillon/platform/ui/settingsbuttontableviewcell.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/platform/ui/switch.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QLabel>
#include <QLineEdit>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

#include <map>

// A single-choice list with one extra "action" section, the shape of the settings screens.
class TULOChoiceList : public TULOTableViewDataSource, public TULOTableViewDelegate
{
public:
    QStringList choices{QStringLiteral("Profile"), QStringLiteral("Page One"), QStringLiteral("Page Two")};
    int checked = 0;
    bool actionEnabled = true;
    // Rows the delegate refuses; anything else is left to the default.
    QSet<TULOIndexPath> refused;
    bool answersHighlight = true;
    QList<TULOIndexPath> selections;
    int cellsMade = 0;

    int numberOfSectionsInTableView(TULOTableView *) override { return 2; }
    int tableViewNumberOfRowsInSection(TULOTableView *, int section) override
    {
        return section == 0 ? int(choices.size()) : 1;
    }
    QString tableViewTitleForHeaderInSection(TULOTableView *, int section) override
    {
        return section == 0 ? QStringLiteral("Post to") : QString();
    }
    QString tableViewTitleForFooterInSection(TULOTableView *, int section) override
    {
        return section == 1 ? QStringLiteral("Unlinking removes the account.") : QString();
    }
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *table, const TULOIndexPath &path) override
    {
        ++cellsMade;
        if (path.section() == 1) {
            auto *button = static_cast<TULOSettingsButtonTableViewCell *>(table->dequeueReusableCellWithIdentifier("0"));
            button->setTitle(QStringLiteral("Unlink"));
            button->setEnabled(actionEnabled);
            return button;
        }
        TULOTableViewCell *cell = table->dequeueReusableCellWithIdentifier("1");
        cell->setText(choices.at(path.row()));
        cell->setAccessoryType(path.row() == checked ? TULOTableViewCellAccessoryCheckmark
                                                     : TULOTableViewCellAccessoryNone);
        return cell;
    }
    std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *, const TULOIndexPath &path) override
    {
        if (!answersHighlight)
            return std::nullopt;
        return !refused.contains(path);
    }
    void tableViewDidSelectRowAtIndexPath(TULOTableView *table, const TULOIndexPath &path) override
    {
        selections.append(path);
        if (path.section() == 0) {
            table->moveCheckmark(TULOIndexPath(0, checked), path);
            checked = path.row();
        }
        table->deselectRowAtIndexPath(path, true);
    }
};

class TestTableView : public QObject
{
    Q_OBJECT

private:
    struct Fixture
    {
        TULOChoiceList list;
        TULOTableView table;
        Fixture()
        {
            table.registerCellClass<TULOTableViewCell>("1");
            table.registerCellClass<TULOSettingsButtonTableViewCell>("0");
            table.setDataSource(&list);
            table.setDelegate(&list);
            table.resize(360, 480);
            table.reloadData();
            table.show();
        }
        void click(const TULOIndexPath &path)
        {
            TULOTableViewCell *cell = table.cellForRowAtIndexPath(path);
            QVERIFY(cell);
            // A point on the cell away from any child control.
            QTest::mouseClick(cell, Qt::LeftButton, {}, QPoint(cell->width() / 2, cell->height() / 2));
        }
        int checkedRow()
        {
            int found = -1;
            for (int row = 0; row < table.numberOfRowsInSection(0); ++row) {
                if (table.cellForRowAtIndexPath(TULOIndexPath(0, row))->accessoryType()
                    == TULOTableViewCellAccessoryCheckmark) {
                    if (found != -1)
                        return -2; // two check marks
                    found = row;
                }
            }
            return found;
        }
    };

private Q_SLOTS:
    void shapeFollowsDataSource()
    {
        Fixture f;
        QCOMPARE(f.table.numberOfSections(), 2);
        QCOMPARE(f.table.numberOfRowsInSection(0), 3);
        QCOMPARE(f.table.numberOfRowsInSection(1), 1);
        QCOMPARE(f.table.numberOfRowsInSection(2), 0);
        QVERIFY(!f.table.cellForRowAtIndexPath(TULOIndexPath(0, 3)));
        QCOMPARE(f.table.headerTitleForSection(0), QStringLiteral("Post to"));
        QVERIFY(f.table.headerTitleForSection(1).isEmpty());
        QCOMPARE(f.table.footerTitleForSection(1), QStringLiteral("Unlinking removes the account."));
        QCOMPARE(f.table.cellForRowAtIndexPath(TULOIndexPath(0, 2))->text(), QStringLiteral("Page Two"));
        QCOMPARE(f.table.indexPathForCell(f.table.cellForRowAtIndexPath(TULOIndexPath(0, 1))), TULOIndexPath(0, 1));
        // Rows are laid out top to bottom in index order.
        QVERIFY(f.table.cellForRowAtIndexPath(TULOIndexPath(0, 0))->mapTo(&f.table, QPoint()).y()
                < f.table.cellForRowAtIndexPath(TULOIndexPath(0, 1))->mapTo(&f.table, QPoint()).y());
    }

    void highlightRules_data()
    {
        QTest::addColumn<bool>("answers");
        QTest::addColumn<QList<TULOIndexPath>>("refused");
        QTest::addColumn<bool>("actionEnabled");
        QTest::addColumn<TULOIndexPath>("tapped");
        QTest::addColumn<bool>("selects");

        const QList<TULOIndexPath> none;
        QTest::newRow("delegate allows") << true << none << true << TULOIndexPath(0, 1) << true;
        QTest::newRow("delegate refuses") << true << QList<TULOIndexPath>{{0, 1}} << true << TULOIndexPath(0, 1) << false;
        QTest::newRow("refusal is per row") << true << QList<TULOIndexPath>{{0, 1}} << true << TULOIndexPath(0, 2) << true;
        QTest::newRow("no answer means highlight") << false << QList<TULOIndexPath>{{0, 1}} << true
                                                   << TULOIndexPath(0, 1) << true;
        QTest::newRow("disabled button row never") << true << none << false << TULOIndexPath(1, 0) << false;
        QTest::newRow("enabled button row") << true << none << true << TULOIndexPath(1, 0) << true;
    }

    void highlightRules()
    {
        QFETCH(bool, answers);
        QFETCH(QList<TULOIndexPath>, refused);
        QFETCH(bool, actionEnabled);
        QFETCH(TULOIndexPath, tapped);
        QFETCH(bool, selects);

        Fixture f;
        f.list.answersHighlight = answers;
        f.list.refused = QSet<TULOIndexPath>(refused.begin(), refused.end());
        f.list.actionEnabled = actionEnabled;
        f.table.reloadData();
        QCOMPARE(f.table.canHighlightRowAtIndexPath(tapped), selects);

        // Pressing shows the highlight only on rows that may highlight.
        TULOTableViewCell *cell = f.table.cellForRowAtIndexPath(tapped);
        QTest::mousePress(cell, Qt::LeftButton, {}, QPoint(cell->width() / 2, cell->height() / 2));
        QCOMPARE(cell->isHighlighted(), selects);
        QTest::mouseRelease(cell, Qt::LeftButton, {}, QPoint(cell->width() / 2, cell->height() / 2));
        QCOMPARE(f.list.selections, selects ? QList<TULOIndexPath>{tapped} : QList<TULOIndexPath>{});
    }

    void releaseOutsideDoesNotSelect()
    {
        Fixture f;
        TULOTableViewCell *cell = f.table.cellForRowAtIndexPath(TULOIndexPath(0, 1));
        QTest::mousePress(cell, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(cell->isHighlighted());
        QTest::mouseRelease(cell, Qt::LeftButton, {}, QPoint(10, cell->height() + 40));
        QVERIFY(!cell->isHighlighted());
        QVERIFY(f.list.selections.isEmpty());
    }

    void checkmarkMoves_data()
    {
        QTest::addColumn<QList<int>>("taps");
        QTest::addColumn<int>("expected");
        QTest::newRow("initial") << QList<int>{} << 0;
        QTest::newRow("to another row") << QList<int>{2} << 2;
        QTest::newRow("same row twice") << QList<int>{1, 1} << 1;
        QTest::newRow("back to the first") << QList<int>{2, 1, 0} << 0;
    }

    void checkmarkMoves()
    {
        QFETCH(QList<int>, taps);
        QFETCH(int, expected);
        Fixture f;
        for (int row : taps)
            f.click(TULOIndexPath(0, row));
        QCOMPARE(f.checkedRow(), expected);
        // Each tap is deselected right away, so no row stays selected.
        QVERIFY(!f.table.indexPathForSelectedRow());
        // The data source's state and the cells agree after a rebuild.
        f.table.reloadData();
        QCOMPARE(f.checkedRow(), expected);
    }

    void reloadKeepsSelectionRule()
    {
        Fixture f;
        f.list.refused = {TULOIndexPath(0, 2)};
        f.table.reloadData();
        QVERIFY(!f.table.canHighlightRowAtIndexPath(TULOIndexPath(0, 2)));
        f.table.selectRowAtIndexPath(TULOIndexPath(0, 1), false);

        // The rule is asked again on every tap, also after the table was rebuilt.
        f.list.refused = {TULOIndexPath(0, 1)};
        f.table.reloadData();
        QVERIFY(!f.table.indexPathForSelectedRow());
        f.click(TULOIndexPath(0, 1));
        QVERIFY(f.list.selections.isEmpty());
        f.click(TULOIndexPath(0, 2));
        QCOMPARE(f.list.selections, QList<TULOIndexPath>{TULOIndexPath(0, 2)});
        QCOMPARE(f.checkedRow(), 2);
    }

    void partialReloadKeepsOtherSelection_data()
    {
        QTest::addColumn<QString>("reload");
        QTest::addColumn<bool>("kept");
        QTest::newRow("other section") << "section1" << true;
        QTest::newRow("own section") << "section0" << false;
        QTest::newRow("other row") << "row2" << true;
        QTest::newRow("own row") << "row1" << false;
        QTest::newRow("whole table") << "all" << false;
    }

    void partialReloadKeepsOtherSelection()
    {
        QFETCH(QString, reload);
        QFETCH(bool, kept);
        Fixture f;
        const TULOIndexPath selected(0, 1);
        f.table.selectRowAtIndexPath(selected, false);
        f.list.choices[1] = QStringLiteral("Renamed");
        if (reload == "section1")
            f.table.reloadSections({1});
        else if (reload == "section0")
            f.table.reloadSections({0});
        else if (reload == "row2")
            f.table.reloadRowsAtIndexPaths({TULOIndexPath(0, 2)});
        else if (reload == "row1")
            f.table.reloadRowsAtIndexPaths({selected});
        else
            f.table.reloadData();
        QCOMPARE(f.table.indexPathForSelectedRow().has_value(), kept);
        QCOMPARE(f.table.cellForRowAtIndexPath(selected)->isSelected(), kept);
        const bool rebuilt = reload != "section1" && reload != "row2";
        QCOMPARE(f.table.cellForRowAtIndexPath(selected)->text(),
                 rebuilt ? QStringLiteral("Renamed") : QStringLiteral("Page One"));
        QCOMPARE(f.table.numberOfRowsInSection(0), 3);
    }

    void structuralChangesMoveSelection_data()
    {
        QTest::addColumn<bool>("insert");
        QTest::addColumn<int>("changed");
        QTest::addColumn<std::optional<TULOIndexPath>>("expected");
        QTest::newRow("insert before") << true << 0 << std::optional<TULOIndexPath>(TULOIndexPath(2, 0));
        QTest::newRow("insert after") << true << 2 << std::optional<TULOIndexPath>(TULOIndexPath(1, 0));
        QTest::newRow("delete before") << false << 0 << std::optional<TULOIndexPath>(TULOIndexPath(0, 0));
        QTest::newRow("delete the selected") << false << 1 << std::optional<TULOIndexPath>();
    }

    void structuralChangesMoveSelection()
    {
        QFETCH(bool, insert);
        QFETCH(int, changed);
        QFETCH(std::optional<TULOIndexPath>, expected);
        // Sections: a list of one-row sections, mutated between calls as a screen would.
        struct Sections : TULOTableViewDataSource
        {
            QStringList names{QStringLiteral("a"), QStringLiteral("b")};
            int numberOfSectionsInTableView(TULOTableView *) override { return int(names.size()); }
            int tableViewNumberOfRowsInSection(TULOTableView *, int) override { return 1; }
            TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *table, const TULOIndexPath &path) override
            {
                TULOTableViewCell *cell = table->dequeueReusableCellWithIdentifier("0");
                cell->setText(names.at(path.section()));
                return cell;
            }
        } sections;
        TULOTableView table;
        table.registerCellClass<TULOTableViewCell>("0");
        table.setDataSource(&sections);
        table.reloadData();
        table.selectRowAtIndexPath(TULOIndexPath(1, 0), false);
        if (insert) {
            sections.names.insert(changed, QStringLiteral("new"));
            table.insertSections({changed});
        } else {
            sections.names.removeAt(changed);
            table.deleteSections({changed});
        }
        QCOMPARE(table.indexPathForSelectedRow(), expected);
        if (expected) {
            QCOMPARE(table.cellForRowAtIndexPath(*expected)->text(), QStringLiteral("b"));
            QVERIFY(table.cellForRowAtIndexPath(*expected)->isSelected());
        }
    }

    void cellsAreReusedByIdentifier()
    {
        Fixture f;
        QSet<TULOTableViewCell *> before;
        for (int row = 0; row < 3; ++row) {
            TULOTableViewCell *cell = f.table.cellForRowAtIndexPath(TULOIndexPath(0, row));
            cell->setSelected(true);
            before.insert(cell);
        }
        auto *button = f.table.cellForRowAtIndexPath(TULOIndexPath(1, 0));
        f.table.reloadData();
        QSet<TULOTableViewCell *> after;
        for (int row = 0; row < 3; ++row) {
            TULOTableViewCell *cell = f.table.cellForRowAtIndexPath(TULOIndexPath(0, row));
            QVERIFY(!cell->isSelected()); // prepared for reuse
            QCOMPARE(cell->reuseIdentifier(), QStringLiteral("1"));
            after.insert(cell);
        }
        QCOMPARE(after, before);
        QCOMPARE(f.table.cellForRowAtIndexPath(TULOIndexPath(1, 0)), button);
        QCOMPARE(f.table.cellForRowAtIndexPath(TULOIndexPath(1, 0))->reuseIdentifier(), QStringLiteral("0"));

        // Fewer rows: the spare cell waits in the pool and comes back when a row returns.
        f.list.choices.removeLast();
        f.table.reloadData();
        QCOMPARE(f.table.numberOfRowsInSection(0), 2);
        f.list.choices.append(QStringLiteral("Page Three"));
        f.table.reloadData();
        QVERIFY(before.contains(f.table.cellForRowAtIndexPath(TULOIndexPath(0, 2))));
        QCOMPARE(f.table.cellForRowAtIndexPath(TULOIndexPath(0, 2))->text(), QStringLiteral("Page Three"));
    }

    void badDataSourceAnswers()
    {
        struct Broken : TULOTableViewDataSource
        {
            int numberOfSectionsInTableView(TULOTableView *) override { return 2; }
            int tableViewNumberOfRowsInSection(TULOTableView *, int section) override { return section == 0 ? 2 : -4; }
            TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *table, const TULOIndexPath &) override
            {
                return table->dequeueReusableCellWithIdentifier("never registered");
            }
        } broken;
        TULOTableView table;
        table.setDataSource(&broken);
        QTest::ignoreMessage(QtWarningMsg, "no cell registered for reuse identifier \"never registered\"");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("data source gave no cell at.*"));
        QTest::ignoreMessage(QtWarningMsg, "no cell registered for reuse identifier \"never registered\"");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("data source gave no cell at.*"));
        table.reloadData();
        // The table keeps its shape: two empty rows, and a negative count is no rows.
        QCOMPARE(table.numberOfRowsInSection(0), 2);
        QCOMPARE(table.numberOfRowsInSection(1), 0);
        QVERIFY(table.cellForRowAtIndexPath(TULOIndexPath(0, 1)));
    }

    void keyboardSelectsRows()
    {
        Fixture f;
        f.list.refused = {TULOIndexPath(0, 0)};
        f.table.reloadData();
        f.table.setFocus();
        f.table.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&f.table));
        QTRY_VERIFY(f.table.hasFocus());
        QTest::keyClick(&f.table, Qt::Key_Return); // first row refuses
        QVERIFY(f.list.selections.isEmpty());
        QTest::keyClick(&f.table, Qt::Key_Down);
        QTest::keyClick(&f.table, Qt::Key_Down);
        QTest::keyClick(&f.table, Qt::Key_Space);
        QCOMPARE(f.list.selections, QList<TULOIndexPath>{TULOIndexPath(0, 2)});
        QTest::keyClick(&f.table, Qt::Key_Down);
        QTest::keyClick(&f.table, Qt::Key_Down); // stays on the last row
        QTest::keyClick(&f.table, Qt::Key_Return);
        QCOMPARE(f.list.selections.last(), TULOIndexPath(1, 0));
    }

    void textFieldCellsShareLabelWidth()
    {
        TULOSettingsTextFieldTableViewCell shortLabel;
        TULOSettingsTextFieldTableViewCell longLabel;
        shortLabel.setLabelText(QStringLiteral("Name"));
        longLabel.setLabelText(QStringLiteral("A much longer password label"));
        QVERIFY(longLabel.preferredLabelWidth() > shortLabel.preferredLabelWidth());
        const int shared = TULOSettingsTextFieldTableViewCell::shareLabelWidth({&shortLabel, &longLabel});
        QCOMPARE(shared, longLabel.preferredLabelWidth());
        QCOMPARE(shortLabel.labelWidth(), shared);
        for (auto *cell : {&shortLabel, &longLabel}) {
            cell->resize(420, 44);
            cell->show();
        }
        QTRY_COMPARE(shortLabel.textField()->x(), longLabel.textField()->x());
        QCOMPARE(shortLabel.textField()->accessibleName(), QStringLiteral("Name"));
        QCOMPARE(shortLabel.label()->buddy(), shortLabel.textField());
    }

    void settingsCellValues_data()
    {
        QTest::addColumn<int>("valueType");
        QTest::addColumn<bool>("switchVisible");
        QTest::addColumn<bool>("textVisible");
        QTest::newRow("switch") << int(TULOSettingsValueTypeSwitch) << true << false;
        QTest::newRow("text") << int(TULOSettingsValueTypeText) << false << true;
    }

    void settingsCellValues()
    {
        QFETCH(int, valueType);
        QFETCH(bool, switchVisible);
        QFETCH(bool, textVisible);
        TULOSettingsTableViewCell cell;
        cell.setText(QStringLiteral("Twitter"));
        cell.setValueType(TULOSettingsValueType(valueType));
        cell.setTextValue(QStringLiteral("Add Account"));
        cell.resize(360, 44);
        cell.show();
        QCOMPARE(cell.valueSwitch()->isVisible(), switchVisible);
        QCOMPARE(cell.valueLabel()->isVisible(), textVisible);
        QCOMPARE(cell.valueSwitch()->accessibleName(), QStringLiteral("Twitter"));

        QSignalSpy toggled(&cell, &TULOSettingsTableViewCell::switchToggled);
        cell.setSwitchValue(true);
        QVERIFY(cell.switchValue());
        QCOMPARE(toggled.size(), 0); // not the user's doing
        if (switchVisible) {
            QTest::mouseClick(cell.valueSwitch(), Qt::LeftButton);
            QCOMPARE(toggled.size(), 1);
            QCOMPARE(toggled.at(0).at(0).toBool(), false);
            QVERIFY(!cell.switchValue());
        }
    }

    void buttonCellGreysOutWhenDisabled()
    {
        TULOSettingsButtonTableViewCell cell;
        cell.setTitle(QStringLiteral("Sign In"));
        QCOMPARE(cell.textLabel()->alignment() & Qt::AlignHCenter, Qt::AlignHCenter);
        const QColor enabled = cell.textLabel()->palette().color(QPalette::WindowText);
        QCOMPARE(enabled, TULOTableViewCell::tintColor(cell.palette()));
        cell.setEnabled(false);
        QVERIFY(cell.textLabel()->palette().color(QPalette::Disabled, QPalette::WindowText) != enabled);
        QCOMPARE(cell.accessibleName(), QStringLiteral("Sign In"));
    }
};

QTEST_MAIN(TestTableView)
#include "tst_tableview.moc"
