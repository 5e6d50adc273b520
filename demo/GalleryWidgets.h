// Pieces that several gallery pages build alike.
#pragma once

#include <QBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QString>
#include <initializer_list>
#include <utility>

namespace gallery {

// A row of buttons, each calling a method of the page.
template <class Page>
QHBoxLayout* ButtonRow(Page* page, std::initializer_list<std::pair<const char*, void (Page::*)()>> buttons) {
    auto* row = new QHBoxLayout;
    for (auto [text, slot] : buttons) {
        auto* b = new QPushButton(text);
        QObject::connect(b, &QPushButton::clicked, page, slot);
        row->addWidget(b);
    }
    return row;
}

// A column headed "Events as the listener hears them" with a read-only log;
// the column goes into `into` with stretch 1.
inline QPlainTextEdit* AddEventLog(QBoxLayout* into) {
    auto* column = new QVBoxLayout;
    column->addWidget(new QLabel("Events as the listener hears them"));
    auto* log = new QPlainTextEdit;
    log->setReadOnly(true);
    column->addWidget(log);
    into->addLayout(column, 1);
    return log;
}

// A model or selection change code as the library writes it: "$12", "$02".
inline QString ChangeCode(int Change) { return "$" + QString::number(Change, 16).toUpper().rightJustified(2, '0'); }

}  // namespace gallery
