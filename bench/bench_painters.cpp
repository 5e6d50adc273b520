// Item painters against Qt's item painting, into an image, one run.
//
// TextRows: 40 rows of text, 300 x 18 each, half of them selected; ours
// TSelectableTextItemPainter through the Qt canvas, peer
// QStyledItemDelegate::paint over a QStandardItemModel index.
// ClippedText: 40 texts of 200 characters into 80 px; ours
// TClippedTextItemPainter (ends in "..."), peer QFontMetrics::elidedText
// plus drawText.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QTreeView>

#include "platform/QtCanvas.h"
#include "views/IDEItemPainters.h"

using namespace ide;

namespace {

constexpr int kRows = 40, kRowWidth = 300, kRowHeight = 18;

QApplication* App() {
    static int argc = 1;
    static char name[] = "bench_painters";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    return app;
}

QString RowText(int i) { return QString("src/views/IDEItemPainters.cpp row %1").arg(i); }

QString LongText(int i) {
    QString s = QString("Row %1: ").arg(i);
    while (s.size() < 200) s += "a long description that will not fit ";
    return s.left(200);
}

void TextRows_ide(benchmark::State& state) {
    App();
    std::vector<IntfRef<IInterface>> items;
    for (int i = 0; i < kRows; ++i) items.push_back(Make<TTextObject>(FromQString(RowText(i))));
    auto painter = Make<TSelectableTextItemPainter>();
    auto site = Make<TFixedItemPaintSite>();
    QImage img(kRowWidth, kRows * kRowHeight, QImage::Format_RGB32);
    for (auto _ : state) {
        QPainter p(&img);
        TQtCanvas c(&p);
        for (int i = 0; i < kRows; ++i)
            painter->Paint(items[static_cast<size_t>(i)], &c, Rectangle(0, i * kRowHeight, kRowWidth, kRowHeight),
                           (i & 1) ? TItemStates{isSelected} : TItemStates{}, site);
    }
}

void TextRows_Qt(benchmark::State& state) {
    App();
    QStandardItemModel model;
    for (int i = 0; i < kRows; ++i) model.appendRow(new QStandardItem(RowText(i)));
    QTreeView view;  // the delegate's widget, for its style and palette
    view.setModel(&model);
    QStyledItemDelegate delegate;
    QImage img(kRowWidth, kRows * kRowHeight, QImage::Format_RGB32);
    for (auto _ : state) {
        QPainter p(&img);
        for (int i = 0; i < kRows; ++i) {
            QStyleOptionViewItem option;
            option.initFrom(&view);
            option.rect = QRect(0, i * kRowHeight, kRowWidth, kRowHeight);
            option.state = QStyle::State_Enabled | ((i & 1) ? QStyle::State_Selected : QStyle::State_None);
            option.widget = &view;
            delegate.paint(&p, option, model.index(i, 0));
        }
    }
}

void ClippedText_ide(benchmark::State& state) {
    App();
    std::vector<IntfRef<IInterface>> items;
    for (int i = 0; i < kRows; ++i) items.push_back(Make<TTextObject>(FromQString(LongText(i))));
    auto painter = Make<TClippedTextItemPainter>();
    QImage img(80, kRows * kRowHeight, QImage::Format_RGB32);
    for (auto _ : state) {
        QPainter p(&img);
        TQtCanvas c(&p);
        c.SetBrushColor(clWindow);
        for (int i = 0; i < kRows; ++i) painter->Paint(items[static_cast<size_t>(i)], &c, Rectangle(0, i * kRowHeight, 80, kRowHeight), {}, nullptr);
    }
}

void ClippedText_Qt(benchmark::State& state) {
    App();
    std::vector<QString> texts;
    for (int i = 0; i < kRows; ++i) texts.push_back(LongText(i));
    QImage img(80, kRows * kRowHeight, QImage::Format_RGB32);
    QFont font = ToQFont(TFont());
    QFontMetrics fm(font);
    for (auto _ : state) {
        QPainter p(&img);
        p.setFont(font);
        for (int i = 0; i < kRows; ++i) {
            QRect r(0, i * kRowHeight, 80, kRowHeight);
            p.fillRect(r, Qt::white);
            p.drawText(r.adjusted(1, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                       fm.elidedText(texts[static_cast<size_t>(i)], Qt::ElideRight, 79));
        }
    }
}

}  // namespace

BENCHMARK(TextRows_ide)->Name("TextRows/ideSelectableTextItemPainter/40")->Unit(benchmark::kMicrosecond);
BENCHMARK(TextRows_Qt)->Name("TextRows/QStyledItemDelegate/40")->Unit(benchmark::kMicrosecond);
BENCHMARK(ClippedText_ide)->Name("ClippedText/ideClippedTextItemPainter/40")->Unit(benchmark::kMicrosecond);
BENCHMARK(ClippedText_Qt)->Name("ClippedText/elidedText/40")->Unit(benchmark::kMicrosecond);
