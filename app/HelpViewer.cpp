#include "app/HelpViewer.h"

#include "app/Theme.h"

#include <QDesktopServices>
#include <QFile>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace orvane::app {

namespace {

const QString root = QStringLiteral("qrc:/help/");

// The pages' look, matched to the window's dark scheme; QTextBrowser knows a subset of CSS.
QString pageStyle() {
    return QStringLiteral("body { color: %1; font-size: 11pt; }"
                          "h1 { font-size: 20pt; font-weight: 600; margin-bottom: 6px; }"
                          "h2 { font-size: 14pt; font-weight: 600; margin-top: 18px; }"
                          "a { color: %2; text-decoration: none; }"
                          "code, kbd { font-family: monospace; color: %2; }"
                          "th { text-align: left; color: %3; padding-right: 16px; }"
                          "td { padding-right: 16px; padding-bottom: 3px; }"
                          ".dim { color: %3; }")
        .arg(Theme::text.name(), Theme::accent.name(), Theme::dimText.name());
}

} // namespace

const QList<HelpViewer::Topic>& HelpViewer::topics() {
    static const QList<Topic> list{
        {QStringLiteral("index.html"), QStringLiteral("Getting Started")},
        {QStringLiteral("timeline.html"), QStringLiteral("The Timeline")},
        {QStringLiteral("table.html"), QStringLiteral("The Track Table")},
        {QStringLiteral("inspectors.html"), QStringLiteral("Inspectors")},
        {QStringLiteral("transport.html"), QStringLiteral("Transport and Meters")},
        {QStringLiteral("delivery.html"), QStringLiteral("Delivering a Disc")},
        {QStringLiteral("import.html"), QStringLiteral("Importing")},
        {QStringLiteral("keys.html"), QStringLiteral("Keyboard Shortcuts")},
    };
    return list;
}

HelpViewer::HelpViewer(QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("helpViewer"));
    setWindowTitle(QStringLiteral("Orvane Help"));
    resize(980, 700);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(8, 6, 8, 6);
    auto* back = new QPushButton(QStringLiteral("\u2039 Back"));
    auto* forward = new QPushButton(QStringLiteral("Forward \u203a"));
    back->setEnabled(false);
    forward->setEnabled(false);
    bar->addWidget(back);
    bar->addWidget(forward);
    bar->addStretch(1);
    layout->addLayout(bar);

    auto* columns = new QHBoxLayout;
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(0);
    list_ = new QListWidget;
    list_->setObjectName(QStringLiteral("helpTopics"));
    list_->setFixedWidth(220);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setStyleSheet(
        QStringLiteral("QListWidget#helpTopics { background: %1; padding: 12px 10px; outline: 0; "
                       "border-right: 1px solid %4; }"
                       "QListWidget#helpTopics::item { padding: 6px 8px; border-radius: 4px; color: %2; }"
                       "QListWidget#helpTopics::item:selected { background: %3; color: white; }")
            .arg(Theme::panel.name(), Theme::text.name(), Theme::accent.darker(140).name(),
                 Theme::line.name()));
    for (const Topic& topic : topics()) {
        list_->addItem(topic.title);
    }
    browser_ = new QTextBrowser;
    browser_->setObjectName(QStringLiteral("helpBrowser"));
    browser_->setFrameShape(QFrame::NoFrame);
    // Links to the web go to the user's browser; links between pages stay here.
    browser_->setOpenLinks(false);
    browser_->document()->setDefaultStyleSheet(pageStyle());
    browser_->document()->setDocumentMargin(22);
    columns->addWidget(list_);
    columns->addWidget(browser_, 1);
    layout->addLayout(columns, 1);

    connect(browser_, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        if (url.scheme() == QStringLiteral("qrc") || url.isRelative()) {
            browser_->setSource(url.isRelative() ? QUrl(root).resolved(url) : url);
        } else {
            QDesktopServices::openUrl(url);
        }
    });
    // The signal comes before source() has changed, so the list goes by the URL it carries.
    connect(browser_, &QTextBrowser::sourceChanged, this,
            [this](const QUrl& url) { syncList(url.fileName()); });
    connect(browser_, &QTextBrowser::backwardAvailable, back, &QWidget::setEnabled);
    connect(browser_, &QTextBrowser::forwardAvailable, forward, &QWidget::setEnabled);
    connect(back, &QPushButton::clicked, browser_, &QTextBrowser::backward);
    connect(forward, &QPushButton::clicked, browser_, &QTextBrowser::forward);
    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < topics().size() && currentPage() != topics()[row].page) {
            showPage(topics()[row].page);
        }
    });
    showPage(topics().front().page);
}

void HelpViewer::showPage(const QString& page) {
    const bool known = QFile::exists(QStringLiteral(":/help/") + page);
    browser_->setSource(QUrl(root + (known ? page : topics().front().page)));
}

QString HelpViewer::currentPage() const {
    return browser_->source().fileName();
}

void HelpViewer::syncList(const QString& page) {
    for (int row = 0; row < topics().size(); ++row) {
        if (topics()[row].page == page) {
            const QSignalBlocker blocker(list_);
            list_->setCurrentRow(row);
            return;
        }
    }
}

} // namespace orvane::app
