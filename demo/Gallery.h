// The gallery's page registry. A page is a widget factory with a title; each
// demo/*.cpp registers its pages with a static GalleryPage object.
#pragma once

#include <functional>
#include <vector>

#include <QString>

class QWidget;

namespace gallery {

struct PageInfo {
    int order;                                // pages are shown by ascending order
    QString title;                            // tab title and screenshot file name
    std::function<QWidget*(QWidget*)> create; // builds the page under a parent
};

std::vector<PageInfo>& Pages();

struct GalleryPage {
    GalleryPage(int order, QString title, std::function<QWidget*(QWidget*)> create) {
        Pages().push_back({order, std::move(title), std::move(create)});
    }
};

}  // namespace gallery
