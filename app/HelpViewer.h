#pragma once
// "Orvane Help": the manual, hand-written HTML pages shipped inside the program, in a window of its
// own with a list of topics beside the page, back and forward, and links between the pages. One
// window per application, raised again when asked a second time. GUI thread.

#include <QString>
#include <QStringList>
#include <QWidget>

class QListWidget;
class QTextBrowser;

namespace orvane::app {

class HelpViewer final : public QWidget {
  public:
    // The topics in the order of the list: the page's resource name and its title.
    struct Topic {
        QString page;
        QString title;
    };
    static const QList<Topic>& topics();

    explicit HelpViewer(QWidget* parent = nullptr);

    // Shows the page of that resource name ("delivery.html"); unknown names show the first page.
    void showPage(const QString& page);
    QString currentPage() const;
    QTextBrowser& browser() { return *browser_; }

  private:
    void syncList(const QString& page);

    QListWidget* list_ = nullptr;
    QTextBrowser* browser_ = nullptr;
};

} // namespace orvane::app
