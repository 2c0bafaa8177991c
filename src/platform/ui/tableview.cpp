#include <Quillon/platform/ui/tableview.h>

#include <Quillon/platform/ui/tablesectionview_p.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLoggingCategory>
#include <QScrollBar>
#include <QVBoxLayout>

Q_LOGGING_CATEGORY(lcTULOTableView, "quillon.ui.tableview")

int TULOTableViewDataSource::numberOfSectionsInTableView(TULOTableView *)
{
    return 1;
}

QString TULOTableViewDataSource::tableViewTitleForHeaderInSection(TULOTableView *, int)
{
    return {};
}

QString TULOTableViewDataSource::tableViewTitleForFooterInSection(TULOTableView *, int)
{
    return {};
}

std::optional<bool> TULOTableViewDelegate::tableViewShouldHighlightRowAtIndexPath(TULOTableView *, const TULOIndexPath &)
{
    return std::nullopt;
}

void TULOTableViewDelegate::tableViewDidSelectRowAtIndexPath(TULOTableView *, const TULOIndexPath &)
{
}

void TULOTableViewDelegate::tableViewDidDeselectRowAtIndexPath(TULOTableView *, const TULOIndexPath &)
{
}

TULOTableView::TULOTableView(TULOTableViewStyle style, QWidget *parent)
    : QScrollArea(parent)
    , m_style(style)
    , m_content(new QWidget)
    , m_contentLayout(new QVBoxLayout(m_content))
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(QCoreApplication::translate("TULOTableView", "List"));
    m_content->setBackgroundRole(style == TULOTableViewStyleGrouped ? QPalette::Window : QPalette::Base);
    m_content->setAutoFillBackground(true);
    m_contentLayout->setContentsMargins(0, 0, 0, 16);
    m_contentLayout->setSpacing(0);
    m_contentLayout->addStretch(1);
    setWidget(m_content);
}

TULOTableView::~TULOTableView()
{
    m_dataSource = nullptr;
    m_delegate = nullptr;
}

void TULOTableView::setDataSource(TULOTableViewDataSource *dataSource)
{
    m_dataSource = dataSource;
}

void TULOTableView::setDelegate(TULOTableViewDelegate *delegate)
{
    m_delegate = delegate;
}

void TULOTableView::registerCellFactory(const QString &identifier, CellFactory factory)
{
    m_factories.insert(identifier, std::move(factory));
}

TULOTableViewCell *TULOTableView::dequeueReusableCellWithIdentifier(const QString &identifier)
{
    QList<QPointer<TULOTableViewCell>> &pool = m_reusePool[identifier];
    while (!pool.isEmpty()) {
        QPointer<TULOTableViewCell> cell = pool.takeLast();
        if (cell) {
            cell->prepareForReuse();
            return cell;
        }
    }
    const auto factory = m_factories.constFind(identifier);
    if (factory == m_factories.constEnd() || !*factory) {
        qCWarning(lcTULOTableView, "no cell registered for reuse identifier \"%s\"", qPrintable(identifier));
        return nullptr;
    }
    TULOTableViewCell *cell = (*factory)();
    if (!cell)
        return nullptr;
    cell->setReuseIdentifier(identifier);
    adoptCell(cell);
    return cell;
}

void TULOTableView::adoptCell(TULOTableViewCell *cell)
{
    if (cell->property("tuloTableView").value<QObject *>() == this)
        return;
    cell->setProperty("tuloTableView", QVariant::fromValue<QObject *>(this));
    cell->setParent(m_content);
    cell->hide();
    connect(cell, &TULOTableViewCell::pressed, this, [this, cell] { cellPressed(cell); });
    connect(cell, &TULOTableViewCell::released, this, [this, cell](bool inside) { cellReleased(cell, inside); });
}

void TULOTableView::recycle(TULOTableViewCell *cell)
{
    if (!cell)
        return;
    cell->hide();
    cell->setParent(m_content);
    if (!cell->reuseIdentifier().isEmpty())
        m_reusePool[cell->reuseIdentifier()].append(cell);
}

void TULOTableView::recycleSection(Section &section)
{
    for (const QPointer<TULOTableViewCell> &cell : std::as_const(section.cells))
        recycle(cell);
    section.cells.clear();
    delete section.view;
    section.view = nullptr;
}

TULOTableViewCell *TULOTableView::obtainCell(const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = m_dataSource->tableViewCellForRowAtIndexPath(this, indexPath);
    if (!cell) {
        // A data source that gives no cell still gets a row, so the table's shape stays right.
        qCWarning(lcTULOTableView) << "data source gave no cell at" << indexPath;
        cell = new TULOTableViewCell;
        cell->setSelectionStyle(TULOTableViewCellSelectionStyleNone);
    }
    // A cell the data source keeps itself may still sit in the reuse pool.
    if (!cell->reuseIdentifier().isEmpty())
        m_reusePool[cell->reuseIdentifier()].removeAll(cell);
    adoptCell(cell);
    return cell;
}

TULOTableView::Section TULOTableView::buildSection(int index)
{
    Section section;
    const QString header = m_dataSource->tableViewTitleForHeaderInSection(this, index);
    const QString footer = m_dataSource->tableViewTitleForFooterInSection(this, index);
    section.view = new TULOTableSectionView(m_style, header, footer);
    section.view->setParent(m_content); // before anything is shown, so it never becomes a window
    const int rows = qMax(0, m_dataSource->tableViewNumberOfRowsInSection(this, index));
    for (int row = 0; row < rows; ++row) {
        TULOTableViewCell *cell = obtainCell(TULOIndexPath(index, row));
        section.view->rows()->addWidget(cell);
        cell->setSelected(m_selected == TULOIndexPath(index, row));
        cell->setFocusIndicated(false);
        cell->show();
        section.cells.append(cell);
    }
    section.view->setVisible(rows > 0 || !header.isEmpty() || !footer.isEmpty());
    return section;
}

void TULOTableView::rebuildAll()
{
    for (Section &section : m_sections)
        recycleSection(section);
    m_sections.clear();
    const int headerSlots = m_headerView ? 1 : 0;
    if (m_dataSource) {
        const int count = qMax(0, m_dataSource->numberOfSectionsInTableView(this));
        for (int i = 0; i < count; ++i) {
            Section section = buildSection(i);
            m_contentLayout->insertWidget(headerSlots + i, section.view);
            m_sections.append(section);
        }
    }
    updateTabOrder();
}

void TULOTableView::reloadData()
{
    const bool hadSelection = m_selected.has_value();
    m_selected.reset();
    m_focusRow.reset();
    m_pressedCell = nullptr;
    rebuildAll();
    if (hadSelection)
        Q_EMIT selectionChanged();
}

void TULOTableView::reloadSections(const QList<int> &sections, bool animated)
{
    Q_UNUSED(animated)
    if (!m_dataSource)
        return;
    const int headerSlots = m_headerView ? 1 : 0;
    bool selectionLost = false;
    for (int index : sections) {
        if (index < 0 || index >= m_sections.size())
            continue;
        if (m_selected && m_selected->section() == index) {
            m_selected.reset();
            selectionLost = true;
        }
        recycleSection(m_sections[index]);
        m_sections[index] = buildSection(index);
        m_contentLayout->insertWidget(headerSlots + index, m_sections[index].view);
    }
    updateTabOrder();
    if (selectionLost)
        Q_EMIT selectionChanged();
}

void TULOTableView::reloadRowsAtIndexPaths(const QList<TULOIndexPath> &indexPaths, bool animated)
{
    Q_UNUSED(animated)
    if (!m_dataSource)
        return;
    bool selectionLost = false;
    for (const TULOIndexPath &path : indexPaths) {
        if (path.section() < 0 || path.section() >= m_sections.size())
            continue;
        Section &section = m_sections[path.section()];
        if (path.row() < 0 || path.row() >= section.cells.size())
            continue;
        if (m_selected == path) {
            m_selected.reset();
            selectionLost = true;
        }
        TULOTableViewCell *old = section.cells.at(path.row());
        const int position = old ? section.view->rows()->indexOf(old) : path.row();
        if (old)
            section.view->rows()->removeWidget(old);
        recycle(old);
        TULOTableViewCell *cell = obtainCell(path);
        section.view->rows()->insertWidget(position, cell);
        cell->setSelected(false);
        cell->show();
        section.cells[path.row()] = cell;
    }
    updateTabOrder();
    if (selectionLost)
        Q_EMIT selectionChanged();
}

void TULOTableView::insertSections(const QList<int> &sections, bool animated)
{
    Q_UNUSED(animated)
    if (m_selected) {
        int section = m_selected->section();
        QList<int> sorted = sections;
        std::sort(sorted.begin(), sorted.end());
        for (int inserted : sorted) {
            if (inserted <= section)
                ++section;
        }
        m_selected = TULOIndexPath(section, m_selected->row());
    }
    m_focusRow.reset();
    rebuildAll();
}

void TULOTableView::deleteSections(const QList<int> &sections, bool animated)
{
    Q_UNUSED(animated)
    if (m_selected) {
        if (sections.contains(m_selected->section())) {
            m_selected.reset();
            Q_EMIT selectionChanged();
        } else {
            int shift = 0;
            for (int deleted : sections) {
                if (deleted < m_selected->section())
                    ++shift;
            }
            m_selected = TULOIndexPath(m_selected->section() - shift, m_selected->row());
        }
    }
    m_focusRow.reset();
    rebuildAll();
}

int TULOTableView::numberOfRowsInSection(int section) const
{
    if (section < 0 || section >= m_sections.size())
        return 0;
    return int(m_sections.at(section).cells.size());
}

TULOTableViewCell *TULOTableView::cellForRowAtIndexPath(const TULOIndexPath &indexPath) const
{
    if (indexPath.section() < 0 || indexPath.section() >= m_sections.size())
        return nullptr;
    const Section &section = m_sections.at(indexPath.section());
    if (indexPath.row() < 0 || indexPath.row() >= section.cells.size())
        return nullptr;
    return section.cells.at(indexPath.row());
}

std::optional<TULOIndexPath> TULOTableView::indexPathForCell(const TULOTableViewCell *cell) const
{
    for (int s = 0; s < m_sections.size(); ++s) {
        const qsizetype row = m_sections.at(s).cells.indexOf(cell);
        if (row >= 0)
            return TULOIndexPath(s, int(row));
    }
    return std::nullopt;
}

QString TULOTableView::headerTitleForSection(int section) const
{
    if (section < 0 || section >= m_sections.size())
        return {};
    return m_sections.at(section).view->header()->property("tuloTitle").toString();
}

QString TULOTableView::footerTitleForSection(int section) const
{
    if (section < 0 || section >= m_sections.size())
        return {};
    return m_sections.at(section).view->footer()->property("tuloTitle").toString();
}

void TULOTableView::selectRowAtIndexPath(const TULOIndexPath &indexPath, bool animated)
{
    TULOTableViewCell *cell = cellForRowAtIndexPath(indexPath);
    if (!cell)
        return;
    if (m_selected && m_selected != indexPath) {
        if (TULOTableViewCell *old = cellForRowAtIndexPath(*m_selected))
            old->setSelected(false, animated);
    }
    m_selected = indexPath;
    cell->setSelected(true, animated);
    Q_EMIT selectionChanged();
}

void TULOTableView::deselectRowAtIndexPath(const TULOIndexPath &indexPath, bool animated)
{
    if (TULOTableViewCell *cell = cellForRowAtIndexPath(indexPath))
        cell->setSelected(false, animated);
    if (m_selected == indexPath) {
        m_selected.reset();
        Q_EMIT selectionChanged();
    }
}

bool TULOTableView::canHighlightRowAtIndexPath(const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = cellForRowAtIndexPath(indexPath);
    if (!cell || !cell->isEnabled())
        return false;
    if (m_delegate) {
        if (const std::optional<bool> answer = m_delegate->tableViewShouldHighlightRowAtIndexPath(this, indexPath))
            return *answer;
    }
    return true;
}

bool TULOTableView::activateRowAtIndexPath(const TULOIndexPath &indexPath)
{
    if (!canHighlightRowAtIndexPath(indexPath))
        return false;
    if (m_selected && m_selected != indexPath) {
        const TULOIndexPath previous = *m_selected;
        deselectRowAtIndexPath(previous, false);
        if (m_delegate)
            m_delegate->tableViewDidDeselectRowAtIndexPath(this, previous);
    }
    selectRowAtIndexPath(indexPath, false);
    // The delegate may reload or deselect right away; that is its call.
    if (m_delegate)
        m_delegate->tableViewDidSelectRowAtIndexPath(this, indexPath);
    return true;
}

void TULOTableView::moveCheckmark(const std::optional<TULOIndexPath> &from, const TULOIndexPath &to)
{
    if (from && *from != to) {
        if (TULOTableViewCell *old = cellForRowAtIndexPath(*from))
            old->setAccessoryType(TULOTableViewCellAccessoryNone);
    }
    if (TULOTableViewCell *cell = cellForRowAtIndexPath(to))
        cell->setAccessoryType(TULOTableViewCellAccessoryCheckmark);
}

void TULOTableView::cellPressed(TULOTableViewCell *cell)
{
    const std::optional<TULOIndexPath> path = indexPathForCell(cell);
    if (!path || !canHighlightRowAtIndexPath(*path))
        return;
    m_pressedCell = cell;
    cell->setHighlighted(true);
}

void TULOTableView::cellReleased(TULOTableViewCell *cell, bool inside)
{
    if (m_pressedCell != cell)
        return;
    m_pressedCell = nullptr;
    cell->setHighlighted(false);
    const std::optional<TULOIndexPath> path = indexPathForCell(cell);
    if (inside && path)
        activateRowAtIndexPath(*path);
}

void TULOTableView::setTableHeaderView(QWidget *view)
{
    if (m_headerView == view)
        return;
    delete m_headerView;
    m_headerView = view;
    if (view)
        m_contentLayout->insertWidget(0, view);
}

void TULOTableView::setBottomContentInset(int inset)
{
    m_bottomInset = qMax(0, inset);
    m_contentLayout->setContentsMargins(0, 0, 0, 16 + m_bottomInset);
}

void TULOTableView::scrollToRowAtIndexPath(const TULOIndexPath &indexPath)
{
    if (TULOTableViewCell *cell = cellForRowAtIndexPath(indexPath))
        ensureWidgetVisible(cell, 0, 8);
}

void TULOTableView::flashScrollIndicators()
{
    // Desktop scroll bars are always visible when needed; bring the pointer's attention to it.
    if (verticalScrollBar()->maximum() > 0)
        verticalScrollBar()->update();
}

void TULOTableView::updateTabOrder()
{
    // Focusable controls inside the rows follow the rows' order, whatever order the cells were
    // created or recycled in.
    QWidget *previous = this;
    for (const Section &section : std::as_const(m_sections)) {
        for (const QPointer<TULOTableViewCell> &cell : section.cells) {
            if (!cell)
                continue;
            const QList<QWidget *> children = cell->findChildren<QWidget *>();
            for (QWidget *child : children) {
                if (child->focusPolicy() & Qt::TabFocus) {
                    QWidget::setTabOrder(previous, child);
                    previous = child;
                }
            }
        }
    }
}

std::optional<TULOIndexPath> TULOTableView::neighbourRow(const std::optional<TULOIndexPath> &from, int step) const
{
    QList<TULOIndexPath> rows;
    for (int s = 0; s < m_sections.size(); ++s) {
        for (int r = 0; r < m_sections.at(s).cells.size(); ++r)
            rows.append(TULOIndexPath(s, r));
    }
    if (rows.isEmpty())
        return std::nullopt;
    if (!from)
        return step > 0 ? rows.first() : rows.last();
    const qsizetype index = rows.indexOf(*from) + step;
    return rows.value(qBound<qsizetype>(0, index, rows.size() - 1));
}

void TULOTableView::setFocusRow(const std::optional<TULOIndexPath> &row)
{
    if (m_focusRow) {
        if (TULOTableViewCell *cell = cellForRowAtIndexPath(*m_focusRow))
            cell->setFocusIndicated(false);
    }
    m_focusRow = row;
    if (m_focusRow) {
        if (TULOTableViewCell *cell = cellForRowAtIndexPath(*m_focusRow)) {
            cell->setFocusIndicated(hasFocus());
            scrollToRowAtIndexPath(*m_focusRow);
        }
    }
}

void TULOTableView::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Down:
        setFocusRow(neighbourRow(m_focusRow, 1));
        return;
    case Qt::Key_Up:
        setFocusRow(neighbourRow(m_focusRow, -1));
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        if (m_focusRow && activateRowAtIndexPath(*m_focusRow))
            return;
        break;
    default:
        break;
    }
    QScrollArea::keyPressEvent(event);
}

void TULOTableView::focusInEvent(QFocusEvent *event)
{
    QScrollArea::focusInEvent(event);
    setFocusRow(m_focusRow ? m_focusRow : neighbourRow(std::nullopt, 1));
}

void TULOTableView::focusOutEvent(QFocusEvent *event)
{
    QScrollArea::focusOutEvent(event);
    if (m_focusRow) {
        if (TULOTableViewCell *cell = cellForRowAtIndexPath(*m_focusRow))
            cell->setFocusIndicated(false);
    }
}
