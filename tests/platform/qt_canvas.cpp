// The Qt canvas over real pixels: system colours through the palette,
// clipped text, the inverting focus mark, transparency, and measuring
// outside a paint event.
#include <QtTest/QtTest>
#include <QImage>
#include <QPainter>

#include "platform/QtCanvas.h"

using namespace ide;

namespace {
QPalette TestPalette() {
    QPalette p;
    p.setColor(QPalette::Active, QPalette::Highlight, QColor(10, 20, 30));
    p.setColor(QPalette::Active, QPalette::HighlightedText, QColor(250, 240, 230));
    p.setColor(QPalette::Active, QPalette::Base, QColor(255, 255, 255));
    p.setColor(QPalette::Active, QPalette::Text, QColor(0, 0, 0));
    p.setColor(QPalette::Active, QPalette::Button, QColor(200, 200, 200));
    p.setColor(QPalette::Disabled, QPalette::Text, QColor(120, 121, 122));
    return p;
}

bool AnyPixelOutside(const QImage& img, const QRect& r, QRgb background) {
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (!r.contains(x, y) && img.pixel(x, y) != background) return true;
    return false;
}

int CountPixels(const QImage& img, const QRect& r, QRgb c) {
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x) n += img.pixel(x, y) == c;
    return n;
}
}  // namespace

class QtCanvasTest : public QObject {
    Q_OBJECT
private slots:
    void systemColoursResolveThroughPaletteRoles() {
        QPalette p = TestPalette();
        QCOMPARE(ToQColor(clHighlight, p), QColor(10, 20, 30));
        QCOMPARE(ToQColor(clHighlightText, p), QColor(250, 240, 230));
        QCOMPARE(ToQColor(clBtnFace, p), QColor(200, 200, 200));
        QCOMPARE(ToQColor(clGrayText, p), QColor(120, 121, 122));  // the disabled text role
        QCOMPARE(ToQColor(clMaroon, p), QColor(128, 0, 0));        // plain colours are BGR
        QCOMPARE(ToQColor(clNavy, p), QColor(0, 0, 128));
        QCOMPARE(FromQColor(QColor(1, 2, 3)), RGBColor(1, 2, 3));
        QCOMPARE(ToQString(FromQString(QStringLiteral("a\u00e9\U0001F600"))), QStringLiteral("a\u00e9\U0001F600"));
    }

    void fillsFramesAndClippedText() {
        QImage img(60, 30, QImage::Format_RGB32);
        img.fill(Qt::white);
        {
            QPainter painter(&img);
            TQtCanvas c(&painter, TestPalette());
            c.SetBrushColor(clHighlight);
            c.FillRect(Rect(0, 0, 10, 10));
            c.SetBrushColor(clRed);
            c.FrameRect(Rect(20, 0, 30, 10));
            c.SetBrushStyle(bsClear);
            c.Font().SetColor(clBlack);
            c.TextRect(Rect(40, 12, 50, 28), 35, 12, u"WWWWWWWW");  // starts left of the clip
        }
        QCOMPARE(QColor(img.pixel(5, 5)), QColor(10, 20, 30));
        QCOMPARE(QColor(img.pixel(20, 0)), QColor(255, 0, 0));
        QCOMPARE(QColor(img.pixel(25, 5)), QColor(Qt::white));  // a frame, not a fill
        // Text pixels only inside the clip (and the two earlier shapes).
        QImage text = img.copy(0, 11, 60, 19);
        QVERIFY(!AnyPixelOutside(text, QRect(40, 1, 10, 16), qRgb(255, 255, 255)));
        QVERIFY(CountPixels(text, QRect(40, 1, 10, 16), qRgb(255, 255, 255)) < 160);
    }

    void opaqueTextFillsItsClipWithTheBrush() {
        QImage img(40, 20, QImage::Format_RGB32);
        img.fill(Qt::white);
        {
            QPainter painter(&img);
            TQtCanvas c(&painter, TestPalette());
            c.SetBrushColor(clBtnFace);
            c.TextRect(Rect(0, 0, 40, 20), 2, 2, u"");
        }
        QCOMPARE(QColor(img.pixel(39, 19)), QColor(200, 200, 200));
    }

    void focusMarkInvertsAndASecondCallRestores() {
        QImage img(20, 12, QImage::Format_RGB32);
        img.fill(QColor(40, 80, 120));
        QImage before = img.copy();
        QPainter painter(&img);
        TQtCanvas c(&painter, TestPalette());
        c.DrawFocusRect(Rect(2, 2, 18, 10));
        painter.end();
        QCOMPARE(QColor(img.pixel(2, 2)), QColor(255 - 40, 255 - 80, 255 - 120));
        QCOMPARE(QColor(img.pixel(3, 2)), QColor(40, 80, 120));  // dotted
        QCOMPARE(QColor(img.pixel(8, 6)), QColor(40, 80, 120));  // inside untouched
        painter.begin(&img);
        c.DrawFocusRect(Rect(2, 2, 18, 10));
        painter.end();
        QCOMPARE(img, before);
    }

    void bitmapsDrawWithTheirTransparentColourLeftOut() {
        TBitmap b(4, 4, clFuchsia);
        b.Fill(Rect(1, 1, 3, 3), clBlue);
        b.SetTransparent(true);  // bottom-left fuchsia is the transparent colour
        QImage img(10, 10, QImage::Format_RGB32);
        img.fill(Qt::white);
        {
            QPainter painter(&img);
            TQtCanvas c(&painter);
            c.Draw(2, 2, b);
            c.BrushCopy(Rect(6, 6, 10, 10), b, Rect(0, 0, 4, 4), clBlue);
        }
        QCOMPARE(QColor(img.pixel(2, 2)), QColor(Qt::white));
        QCOMPARE(QColor(img.pixel(3, 3)), QColor(0, 0, 255));
        QCOMPARE(QColor(img.pixel(6, 6)), QColor(255, 0, 255));  // BrushCopy left out blue instead
        QCOMPARE(QColor(img.pixel(7, 7)), QColor(Qt::white));
    }

    void measuringWorksOutsideAPaintEventAndFollowsTheFont() {
        TQtMeasuringCanvas m;
        TDimension one = m.TextExtent(u"Hello");
        QVERIFY(one.Width > 0);
        QCOMPARE(one.Height, m.TextMetricHeight());
        m.Font().SetSize(m.Font().Size() * 3);
        QVERIFY(m.TextWidth(u"Hello") > 2 * one.Width);
        QCOMPARE(m.TextExtent(u"").Width, 0);
        m.SetBrushColor(clRed);
        m.FillRect(Rect(0, 0, 100, 100));  // drawing goes nowhere, harmlessly
    }

    void fitLengthAgreesWithMeasuringEveryPrefix() {
        TQtMeasuringCanvas m;
        const std::vector<String> texts = {u"src/views/IDEItemPainters.cpp row 17", u"WWWWWWWWWWiiiiiiiiii",
                                           u"iiiiiiiiiiWWWWWWWWWW", u"AVAST To Ta We Wa office", u"x",
                                           u"ab\U0001F600\U0001F600cd mixed"};
        for (int size : {7, 9, 14})
            for (const String& t : texts) {
                m.Font().SetSize(size);
                int full = m.TextWidth(t);
                for (int w = -1; w <= full + 3; w += 3) {
                    int expected = 0;
                    for (int n = 1; n <= static_cast<int>(t.size()); ++n)
                        if (m.TextWidth(t.substr(0, static_cast<size_t>(n))) <= w) expected = n;
                    expected = CodePointBoundary(t, expected);
                    QCOMPARE(m.TextFitLength(t, w), expected);
                }
            }
    }
};

QTEST_MAIN(QtCanvasTest)
#include "qt_canvas.moc"
