#include "app/logviewer/LogViewerWindow.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIdentityProxyModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QShowEvent>
#include <QTableView>
#include <QVBoxLayout>

namespace tessary {

using namespace Qt::StringLiterals;

// Colours and fonts of the lines: errors stand out, debug lines and damaged text step back.
class LogPresentationModel final : public QIdentityProxyModel {
public:
    using QIdentityProxyModel::QIdentityProxyModel;

    void setPalette(const QPalette& palette) { m_palette = palette; }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        if (role != Qt::ForegroundRole && role != Qt::FontRole) {
            return QIdentityProxyModel::data(index, role);
        }
        const auto kind = static_cast<LogEntry::Kind>(index.data(LogEntryModel::KindRole).toInt());
        const int level = index.data(LogEntryModel::LevelRole).toInt();
        if (role == Qt::FontRole) {
            QFont font = index.column() == LogEntryModel::messageColumn
                             ? QFontDatabase::systemFont(QFontDatabase::FixedFont)
                             : QFont();
            font.setItalic(kind != LogEntry::Kind::line);
            font.setBold(level == static_cast<int>(DiagnosticLevel::error) &&
                         index.column() == LogEntryModel::levelColumn);
            return font;
        }
        if (kind != LogEntry::Kind::line || level == static_cast<int>(DiagnosticLevel::debug)) {
            return m_palette.color(QPalette::PlaceholderText);
        }
        if (level == static_cast<int>(DiagnosticLevel::error)) {
            // A red that reads on light and dark bases alike.
            return m_palette.color(QPalette::Base).lightness() > 128 ? QColor(0xc4, 0x1e, 0x3a)
                                                                     : QColor(0xff, 0x6b, 0x6b);
        }
        return {};
    }

private:
    QPalette m_palette;
};

LogViewerWindow::LogViewerWindow(const QString& directory, const Localization& localization, QWidget* parent)
    : QDialog(parent)
    , m_localization(localization)
    , m_presentation(std::make_unique<LogPresentationModel>())
    , m_follower(directory) {
    setObjectName(u"logViewer"_s);
    setModal(false);
    setSizeGripEnabled(true);
    resize(980, 560);

    m_filter.setSourceModel(&m_entries);
    m_presentation->setSourceModel(&m_filter);
    m_presentation->setPalette(palette());

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 10);
    layout->setSpacing(10);

    auto* bar = new QHBoxLayout;
    bar->setSpacing(8);
    m_categoryLabel = new QLabel(this);
    m_category = new QComboBox(this);
    m_category->setObjectName(u"category"_s);
    m_category->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_categoryLabel->setBuddy(m_category);
    m_levelLabel = new QLabel(this);
    m_level = new QComboBox(this);
    m_level->setObjectName(u"level"_s);
    m_level->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_levelLabel->setBuddy(m_level);
    m_searchLabel = new QLabel(this);
    m_search = new QLineEdit(this);
    m_search->setObjectName(u"search"_s);
    m_search->setClearButtonEnabled(true);
    m_search->setMinimumWidth(200);
    m_searchLabel->setBuddy(m_search);
    m_followsEnd = new QCheckBox(this);
    m_followsEnd->setObjectName(u"followsEnd"_s);
    m_followsEnd->setChecked(true);
    bar->addWidget(m_categoryLabel);
    bar->addWidget(m_category);
    bar->addSpacing(8);
    bar->addWidget(m_levelLabel);
    bar->addWidget(m_level);
    bar->addSpacing(8);
    bar->addWidget(m_searchLabel);
    bar->addWidget(m_search, 1);
    bar->addSpacing(8);
    bar->addWidget(m_followsEnd);
    layout->addLayout(bar);

    m_view = new QTableView(this);
    m_view->setObjectName(u"lines"_s);
    m_view->setModel(m_presentation.get());
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setAlternatingRowColors(true);
    m_view->setShowGrid(false);
    m_view->setWordWrap(false);
    m_view->setTextElideMode(Qt::ElideRight);
    m_view->setTabKeyNavigation(false);
    m_view->installEventFilter(this);
    m_view->verticalHeader()->hide();
    m_view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_view->verticalHeader()->setDefaultSectionSize(m_view->fontMetrics().height() + 8);
    m_view->horizontalHeader()->setHighlightSections(false);
    m_view->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_view->horizontalHeader()->setStretchLastSection(true);
    const QFontMetrics metrics(m_view->font());
    m_view->setColumnWidth(LogEntryModel::timeColumn,
                           metrics.horizontalAdvance(u"2026-03-14 09:26:53.589"_s) + 24);
    m_view->setColumnWidth(LogEntryModel::categoryColumn, metrics.horizontalAdvance(u"settings"_s) + 28);
    m_view->setColumnWidth(LogEntryModel::levelColumn, metrics.horizontalAdvance(u"debug"_s) + 28);
    layout->addWidget(m_view, 1);

    m_status = new QLabel(this);
    m_status->setObjectName(u"status"_s);
    m_status->setTextFormat(Qt::PlainText);
    QPalette dimmed = m_status->palette();
    dimmed.setColor(QPalette::WindowText, dimmed.color(QPalette::PlaceholderText));
    m_status->setPalette(dimmed);
    layout->addWidget(m_status);

    connect(m_category, &QComboBox::activated, this, [this](int index) {
        m_filter.setCategory(enumFromRaw<DiagnosticCategory>(m_category->itemData(index).toString()));
        updateStatus();
    });
    connect(m_level, &QComboBox::activated, this, [this](int index) {
        m_filter.setMinimumLevel(static_cast<DiagnosticLevel>(m_level->itemData(index).toInt()));
        updateStatus();
    });
    connect(m_search, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_filter.setText(text);
        updateStatus();
    });
    connect(&m_follower, &LogFileFollower::entriesRead, this,
            [this](const QList<LogEntry>& entries) { m_entries.append(entries); });
    connect(&m_follower, &LogFileFollower::statusChanged, this, [this] { updateStatus(); });
    connect(&m_filter, &QAbstractItemModel::rowsInserted, this, [this] {
        if (m_followsEnd->isChecked()) {
            m_view->scrollToBottom();
        }
        updateStatus();
    });
    connect(&m_filter, &QAbstractItemModel::rowsRemoved, this, [this] { updateStatus(); });
    connect(&m_filter, &QAbstractItemModel::modelReset, this, [this] { updateStatus(); });
    connect(m_followsEnd, &QCheckBox::toggled, this, [this](bool on) {
        if (on) {
            m_view->scrollToBottom();
        }
    });
    auto* find = new QShortcut(QKeySequence::Find, this);
    connect(find, &QShortcut::activated, this, [this] {
        m_search->setFocus();
        m_search->selectAll();
    });
    auto* close = new QShortcut(QKeySequence::Close, this);
    connect(close, &QShortcut::activated, this, &QDialog::reject);

    setTabOrder(m_category, m_level);
    setTabOrder(m_level, m_search);
    setTabOrder(m_search, m_followsEnd);
    setTabOrder(m_followsEnd, m_view);
    relabel();
}

LogViewerWindow::~LogViewerWindow() {
    // The view goes before the models it shows.
    delete m_view;
    m_view = nullptr;
}

QString LogViewerWindow::selectedText() const {
    QModelIndexList rows = m_view->selectionModel()->selectedRows(LogEntryModel::messageColumn);
    std::sort(rows.begin(), rows.end(),
              [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    QStringList lines;
    lines.reserve(rows.size());
    for (const QModelIndex& row : rows) {
        lines.append(row.data(Qt::ToolTipRole).toString());
    }
    return lines.join(u'\n');
}

bool LogViewerWindow::eventFilter(QObject* watched, QEvent* event) {
    // Copy takes whole lines, as in the file, rather than the one cell the table would copy.
    if (watched == m_view && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy)) {
        const QString text = selectedText();
        if (!text.isEmpty()) {
            QGuiApplication::clipboard()->setText(text);
        }
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void LogViewerWindow::setLocalization(const Localization& localization) {
    if (localization != m_localization) {
        m_localization = localization;
        relabel();
    }
}

void LogViewerWindow::relabel() {
    const auto text = [this](const QString& key) { return m_localization.text(key); };
    setWindowTitle(text(u"Tessary Log"_s));
    setAccessibleName(windowTitle());
    m_categoryLabel->setText(text(u"&Category"_s));
    m_category->setAccessibleName(text(u"Category"_s));
    m_levelLabel->setText(text(u"&Level"_s));
    m_level->setAccessibleName(text(u"Level"_s));
    m_searchLabel->setText(text(u"&Search"_s));
    m_search->setAccessibleName(text(u"Search"_s));
    m_search->setPlaceholderText(text(u"Text in the line"_s));
    m_followsEnd->setText(text(u"&Follow new lines"_s));
    m_followsEnd->setAccessibleName(text(u"Follow new lines"_s));
    m_view->setAccessibleName(text(u"Log lines"_s));
    m_entries.setHeaders({text(u"Time"_s), text(u"Category"_s), text(u"Level"_s), text(u"Message"_s)});

    const QString category = m_filter.category() ? rawValue(*m_filter.category()) : QString();
    m_category->clear();
    m_category->addItem(text(u"All categories"_s), QString());
    for (const auto& [value, raw] : EnumTable<DiagnosticCategory>::cases) {
        m_category->addItem(QString::fromLatin1(raw), QString::fromLatin1(raw));
    }
    m_category->setCurrentIndex(std::max(m_category->findData(category), 0));

    const int level = static_cast<int>(m_filter.minimumLevel());
    m_level->clear();
    m_level->addItem(text(u"All levels"_s), static_cast<int>(DiagnosticLevel::debug));
    m_level->addItem(text(u"Info and errors"_s), static_cast<int>(DiagnosticLevel::info));
    m_level->addItem(text(u"Errors only"_s), static_cast<int>(DiagnosticLevel::error));
    m_level->setCurrentIndex(std::max(m_level->findData(level), 0));
    updateStatus();
}

void LogViewerWindow::updateStatus() {
    const auto text = [this](const QString& key) { return m_localization.text(key); };
    QString status;
    switch (m_follower.status()) {
    case LogFileFollower::Status::waiting:
        status = text(u"No log file yet in %1."_s).arg(QDir::toNativeSeparators(m_follower.directory()));
        break;
    case LogFileFollower::Status::unreadable:
        status = text(u"The log file could not be read."_s);
        break;
    case LogFileFollower::Status::following:
        break;
    }
    const int shown = m_filter.rowCount();
    const int total = m_entries.rowCount();
    const QString count =
        shown == total
            ? (total == 1 ? text(u"1 line"_s)
                          : text(u"%1 lines"_s).arg(m_localization.locale().toString(total)))
            : text(u"%1 of %2 lines"_s)
                  .arg(m_localization.locale().toString(shown), m_localization.locale().toString(total));
    status = status.isEmpty() ? count : status + u"  ·  "_s + count;
    m_status->setText(status);
    m_status->setAccessibleName(status);
}

void LogViewerWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_entries.rowCount() == 0) {
        m_follower.start();
    }
}

void LogViewerWindow::hideEvent(QHideEvent* event) {
    QDialog::hideEvent(event);
    if (event->spontaneous()) {
        return; // minimized: keep following
    }
    // Hidden, it reads nothing; shown again, it reads both files afresh.
    m_follower.stop();
    m_entries.clear();
}

LogViewerController::LogViewerController(QString directory, QObject* parent)
    : QObject(parent)
    , m_directory(std::move(directory)) {}

LogViewerController::~LogViewerController() = default;

void LogViewerController::show(const Localization& localization) {
    if (!m_window) {
        m_window = std::make_unique<LogViewerWindow>(m_directory, localization);
    }
    m_window->setLocalization(localization);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void LogViewerController::closeAll() {
    if (m_window) {
        m_window->close();
    }
    m_window.reset();
}

} // namespace tessary
