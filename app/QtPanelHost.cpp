#include "app/QtPanelHost.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>

namespace orvane::app {

namespace {

QString nameFilter(const std::vector<std::string>& extensions) {
    if (extensions.empty()) {
        return {};
    }
    QStringList patterns;
    for (const auto& extension : extensions) {
        patterns << QStringLiteral("*.") + QString::fromStdString(extension);
    }
    return QStringLiteral("Orvane documents (%1)").arg(patterns.join(' '));
}

} // namespace

std::size_t QtPanelHost::showAlert(const AlertRequest& request) {
    QMessageBox box(parent_);
    box.setWindowTitle(QString::fromStdString(request.message));
    box.setText(QString::fromStdString(request.message));
    box.setInformativeText(QString::fromStdString(request.informativeText));
    switch (request.style) {
    case AlertStyle::informational:
        box.setIcon(QMessageBox::Information);
        break;
    case AlertStyle::warning:
        box.setIcon(QMessageBox::Warning);
        break;
    case AlertStyle::critical:
        box.setIcon(QMessageBox::Critical);
        break;
    }
    const std::vector<std::string> labels =
        request.buttons.empty() ? std::vector<std::string>{"OK"} : request.buttons;
    std::vector<QPushButton*> buttons;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const QString label = QString::fromStdString(labels[i]);
        // Roles only place the buttons; the answer is the index the workspace gave them.
        const auto role = label == "Cancel" ? QMessageBox::RejectRole : QMessageBox::AcceptRole;
        buttons.push_back(box.addButton(label, role));
    }
    box.setDefaultButton(buttons.front());
    box.exec();
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        if (box.clickedButton() == buttons[i]) {
            return i;
        }
    }
    return labels.size();
}

std::optional<std::filesystem::path> QtPanelHost::runOpenPanel(const OpenPanelRequest& request) {
    const QString title = QString::fromStdString(request.title);
    QString chosen;
    if (request.canChooseDirectories && !request.canChooseFiles) {
        chosen = QFileDialog::getExistingDirectory(parent_, title);
    } else {
        chosen = QFileDialog::getOpenFileName(parent_, title, {}, nameFilter(request.allowedExtensions));
    }
    if (chosen.isEmpty()) {
        return std::nullopt;
    }
    return std::filesystem::path(chosen.toStdString());
}

std::optional<std::filesystem::path> QtPanelHost::runSavePanel(const SavePanelRequest& request) {
    QString proposed = QString::fromStdString(request.proposedName);
    if (!request.extension.empty()) {
        proposed += QStringLiteral(".") + QString::fromStdString(request.extension);
    }
    const QString filter = request.extension.empty() ? QString() : nameFilter({request.extension});
    const QString chosen =
        QFileDialog::getSaveFileName(parent_, QString::fromStdString(request.title), proposed, filter);
    if (chosen.isEmpty()) {
        return std::nullopt;
    }
    return std::filesystem::path(chosen.toStdString());
}

} // namespace orvane::app
