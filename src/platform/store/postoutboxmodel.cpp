#include <Quillon/platform/store/postoutboxmodel.h>

TULOPostOutboxModel::TULOPostOutboxModel(TULOPostOutbox *outbox, QObject *parent)
    : QAbstractListModel(parent)
    , m_outbox(outbox ? outbox : TULOPostOutbox::defaultOutbox())
{
    for (const TULOPostOutboxEntry &e : m_outbox->entries())
        m_rows.append(Row {e});
    // The posts read at start arrive together: one reset rather than a row at a time.
    connect(m_outbox, &TULOPostOutbox::ready, this, [this] {
        QHash<QString, Row> before;
        for (const Row &row : std::as_const(m_rows))
            before.insert(row.entry.idempotencyKey, row);
        beginResetModel();
        m_rows.clear();
        for (const TULOPostOutboxEntry &e : m_outbox->entries()) {
            Row row = before.value(e.idempotencyKey, Row {e});
            row.entry = e;
            m_rows.append(row);
        }
        endResetModel();
    });
    connect(m_outbox, &TULOPostOutbox::postWasAdded, this, [this](const QString &key) {
        const auto e = m_outbox->entry(key);
        if (!e || rowForKey(key) >= 0)
            return;
        // Kept in the outbox's order: oldest first.
        qsizetype at = m_rows.size();
        while (at > 0 && m_rows.at(at - 1).entry.created > e->created)
            --at;
        beginInsertRows(QModelIndex(), int(at), int(at));
        m_rows.insert(at, Row {*e});
        endInsertRows();
    });
    connect(m_outbox, &TULOPostOutbox::postWasRemoved, this, [this](const QString &key) {
        const int row = rowForKey(key);
        if (row < 0)
            return;
        beginRemoveRows(QModelIndex(), row, row);
        m_rows.removeAt(row);
        endRemoveRows();
    });
    connect(m_outbox, &TULOPostOutbox::postDidChange, this, [this](const QString &key) { update(key); });
    connect(m_outbox, &TULOPostOutbox::postUploadProgress, this, [this](const QString &key, qint64 sent, qint64 total) {
        const int row = rowForKey(key);
        if (row < 0)
            return;
        m_rows[row].sent = sent;
        m_rows[row].total = total;
        const QModelIndex changed = index(row);
        Q_EMIT dataChanged(changed, changed, {BytesSentRole, BytesTotalRole});
    });
    connect(m_outbox, &TULOPostOutbox::postDidFinish, this, &TULOPostOutboxModel::postDidFinish);
    connect(m_outbox, &TULOPostOutbox::postDidFail, this, &TULOPostOutboxModel::postDidFail);
}

int TULOPostOutboxModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int TULOPostOutboxModel::rowForKey(const QString &key) const
{
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        if (m_rows.at(i).entry.idempotencyKey == key)
            return int(i);
    }
    return -1;
}

void TULOPostOutboxModel::update(const QString &key, const QList<int> &roles)
{
    const int row = rowForKey(key);
    const auto e = m_outbox ? m_outbox->entry(key) : std::nullopt;
    if (row < 0 || !e)
        return;
    m_rows[row].entry = *e;
    if (!m_outbox->isSending(key))
        m_rows[row].sent = m_rows[row].total = 0;
    const QModelIndex changed = index(row);
    Q_EMIT dataChanged(changed, changed, roles);
}

QVariant TULOPostOutboxModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const Row &row = m_rows.at(index.row());
    const TULOPostOutboxEntry &e = row.entry;
    switch (role) {
    case Qt::DisplayRole:
    case TextRole:
        return e.description.value(QStringLiteral("text")).toString();
    case KeyRole:
        return e.idempotencyKey;
    case StateRole:
        if (e.state == TULOPostOutboxEntry::Failed)
            return Refused;
        if (m_outbox && m_outbox->isSending(e.idempotencyKey))
            return Sending;
        return m_outbox && m_outbox->isSendingElsewhere(e.idempotencyKey) ? SendingElsewhere : Pending;
    case AttemptsRole:
        return e.attempts;
    case LastErrorRole: {
        if (!e.lastError)
            return QString();
        const QString reason = e.lastError.localizedFailureReason();
        return reason.isEmpty() ? e.lastError.localizedDescription()
                                : reason + QStringLiteral(": ") + e.lastError.localizedDescription();
    }
    case SizeRole:
        return e.size;
    case CreatedRole:
        return e.created;
    case NextAttemptRole:
        return e.nextAttempt;
    case BytesSentRole:
        return row.sent;
    case BytesTotalRole:
        return row.total;
    case StoreRole:
        return e.bagURL;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> TULOPostOutboxModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{KeyRole, "key"}, {StateRole, "state"}, {AttemptsRole, "attempts"}, {LastErrorRole, "lastError"},
        {SizeRole, "size"}, {CreatedRole, "created"}, {NextAttemptRole, "nextAttempt"}, {TextRole, "text"},
        {BytesSentRole, "bytesSent"}, {BytesTotalRole, "bytesTotal"}, {StoreRole, "store"}});
    return names;
}

bool TULOPostOutboxModel::retry(const QString &key, TULOError *error)
{
    return m_outbox && m_outbox->retry(key, error);
}

bool TULOPostOutboxModel::discard(const QString &key, TULOError *error)
{
    return m_outbox && m_outbox->discard(key, error);
}
