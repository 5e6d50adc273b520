// The component gallery: one tab per page. With no display it runs on the
// offscreen platform, saves a PNG of every page and exits.
#include <QApplication>
#include <QDir>
#include <QTabWidget>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Gallery.h"

namespace gallery {
std::vector<PageInfo>& Pages() {
    static std::vector<PageInfo> pages;
    return pages;
}
}  // namespace gallery

namespace {
QString FileNameFor(const QString& title) {
    QString name;
    for (QChar c : title.toLower()) name += c.isLetterOrNumber() ? c : QChar('-');
    return name;
}
}  // namespace

int main(int argc, char** argv) {
    QString shotDir;
    bool shots = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--screenshots") == 0 && i + 1 < argc) {
            shots = true;
            shotDir = QString::fromLocal8Bit(argv[++i]);
        }
    }
    const char* qpa = std::getenv("QT_QPA_PLATFORM");
    bool noDisplay = !std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY");
    if (noDisplay && !qpa) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    qpa = std::getenv("QT_QPA_PLATFORM");
    bool offscreen = qpa && std::strcmp(qpa, "offscreen") == 0;
    if (offscreen && !shots) {
        shots = true;
        shotDir = "screenshots";
    }

    QApplication app(argc, argv);
    auto& pages = gallery::Pages();
    std::stable_sort(pages.begin(), pages.end(), [](auto& a, auto& b) { return a.order < b.order; });

    QTabWidget tabs;
    tabs.setWindowTitle("IDE component gallery");
    tabs.resize(1000, 700);
    for (auto& p : pages) tabs.addTab(p.create(&tabs), p.title);
    tabs.show();

    if (!shots) return app.exec();

    QDir().mkpath(shotDir);
    int failures = 0;
    for (int i = 0; i < tabs.count(); ++i) {
        tabs.setCurrentIndex(i);
        app.processEvents();
        QString file = QDir(shotDir).filePath(FileNameFor(tabs.tabText(i)) + ".png");
        if (tabs.grab().save(file)) {
            std::printf("screenshot: %s\n", qPrintable(file));
        } else {
            std::fprintf(stderr, "could not write %s\n", qPrintable(file));
            ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
