// Gallery page of the regular expression engine: a pattern, its options, and
// a text in which every match is highlighted, with the groups of each match
// in their own colours. A refused pattern shows the engine's message.
#include <QCheckBox>
#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QWidget>

#include <memory>

#include "Gallery.h"
#include "regexp/IDERegExpComp.h"

namespace {

constexpr int kMaxMatches = 2000;

QString ToQ(const ide::String& s) {
    return QString::fromUtf16(s.data(), static_cast<qsizetype>(s.size()));
}

ide::String FromQ(const QString& s) {
    return ide::String(reinterpret_cast<const char16_t*>(s.utf16()), static_cast<size_t>(s.size()));
}

QColor GroupColour(int group) {
    static const QColor colours[] = {
        QColor(255, 236, 150),  // the whole match
        QColor(140, 200, 255), QColor(150, 230, 150), QColor(255, 170, 200), QColor(200, 170, 255),
        QColor(255, 200, 140), QColor(150, 230, 230), QColor(230, 230, 130), QColor(220, 180, 160),
        QColor(190, 190, 190),
    };
    return colours[group % 10];
}

struct RegExpPage {
    ide::TIDERegularExpression re;
    QLineEdit* pattern = nullptr;
    QCheckBox* caseInsensitive = nullptr;
    QCheckBox* autoMatch = nullptr;
    QLabel* status = nullptr;
    QPlainTextEdit* text = nullptr;
    QListWidget* groups = nullptr;
    QPlainTextEdit* program = nullptr;

    void Update() {
        QList<QTextEdit::ExtraSelection> marks;
        groups->clear();
        program->clear();
        ide::TREOptions options;
        if (caseInsensitive->isChecked()) options.Include(ide::reCaseInsensitive);
        if (autoMatch->isChecked()) options.Include(ide::reAutoMatch);
        try {
            re.SetOptions(options);
            re.SetPattern(FromQ(pattern->text()));
            re.SetText(FromQ(text->toPlainText()));
            re.Compile();
        } catch (const ide::EREError& e) {
            ShowError(e.what());
            text->setExtraSelections(marks);
            return;
        }
        program->setPlainText(QString::fromStdString(re.CompiledRE()->Dump()));

        const qsizetype length = text->document()->characterCount() - 1;
        auto mark = [&](int pos, int len, const QColor& colour) {
            if (pos < 0 || len <= 0 || pos >= length) return;
            QTextEdit::ExtraSelection sel;
            sel.cursor = QTextCursor(text->document());
            sel.cursor.setPosition(pos);
            sel.cursor.setPosition(static_cast<int>(std::min<qsizetype>(pos + len, length)), QTextCursor::KeepAnchor);
            sel.format.setBackground(colour);
            marks.append(sel);
        };

        int matches = 0;
        try {
            size_t from = 0;
            while (matches < kMaxMatches && from <= re.Text().size() && re.MatchFrom(from)) {
                const int pos = re.GetMatchPos(0);
                const int len = re.GetMatchLen(0);
                mark(pos, len, GroupColour(0));
                for (int g = 1; g < re.MatchCount() && g < 10; ++g)
                    if (re.SlotStart(g) != ide::TIDERegularExpression::NotSet &&
                        re.SlotEnd(g) != ide::TIDERegularExpression::NotSet)
                        mark(re.GetMatchPos(g), re.GetMatchLen(g), GroupColour(g));
                if (matches < 12) {
                    for (int g = 0; g < re.MatchCount() && g < 10; ++g) {
                        const QString what = g == 0 ? QString("Match %1").arg(matches + 1) : QString("  group %1").arg(g);
                        const bool taken = re.SlotStart(g) != ide::TIDERegularExpression::NotSet;
                        auto* item = new QListWidgetItem(
                            taken ? QString("%1 at %2, length %3: \"%4\"")
                                        .arg(what)
                                        .arg(re.GetMatchPos(g))
                                        .arg(re.GetMatchLen(g))
                                        .arg(ToQ(re.GetMatch(g)))
                                  : QString("%1: not taken").arg(what));
                        item->setBackground(GroupColour(g));
                        groups->addItem(item);
                    }
                }
                ++matches;
                from = static_cast<size_t>(pos) + static_cast<size_t>(len > 0 ? len : 1);
            }
        } catch (const ide::EREError& e) {
            ShowError(e.what());
            text->setExtraSelections(marks);
            return;
        }
        text->setExtraSelections(marks);
        status->setStyleSheet("color: #205020;");
        status->setText(matches == 0 ? QString("No match. %1 group(s), program of %2 bytes.")
                                           .arg(re.MatchCount() - 1)
                                           .arg(re.CompiledRE()->CodeSize())
                                     : QString("%1 match(es), %2 group(s), program of %3 bytes.")
                                           .arg(matches)
                                           .arg(re.MatchCount() - 1)
                                           .arg(re.CompiledRE()->CodeSize()));
    }

    void ShowError(const char* message) {
        status->setStyleSheet("color: #b00000; font-weight: bold;");
        status->setText(QString("Pattern refused: %1").arg(QString::fromUtf8(message)));
    }
};

QWidget* CreatePage(QWidget* parent) {
    auto* page = new QWidget(parent);
    auto state = std::make_shared<RegExpPage>();
    auto* layout = new QVBoxLayout(page);

    auto* patternRow = new QHBoxLayout;
    patternRow->addWidget(new QLabel("Pattern:"));
    state->pattern = new QLineEdit("(fox|dog) (jump|leap)s");
    state->pattern->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    patternRow->addWidget(state->pattern, 1);
    state->caseInsensitive = new QCheckBox("Case insensitive");
    state->autoMatch = new QCheckBox("Auto match");
    patternRow->addWidget(state->caseInsensitive);
    patternRow->addWidget(state->autoMatch);
    layout->addLayout(patternRow);

    auto* examples = new QHBoxLayout;
    examples->addWidget(new QLabel("Examples:"));
    struct Example {
        const char* pattern;
        bool ci;
    };
    static const Example kExamples[] = {
        {"(fox|dog) (jump|leap)s", false}, {"b[a-z]*n", true}, {"(a|e)+d", false},
        {"\\w+ing", false},                {"a**", false},     {"[z-a]", false},
    };
    for (const Example& ex : kExamples) {
        auto* button = new QPushButton(QString::fromUtf8(ex.pattern));
        QObject::connect(button, &QPushButton::clicked, page, [state, ex] {
            state->caseInsensitive->setChecked(ex.ci);
            state->pattern->setText(QString::fromUtf8(ex.pattern));
        });
        examples->addWidget(button);
    }
    examples->addStretch(1);
    layout->addLayout(examples);

    state->status = new QLabel;
    layout->addWidget(state->status);

    auto* split = new QSplitter(Qt::Horizontal);
    state->text = new QPlainTextEdit;
    state->text->setPlainText(
        "The quick brown fox jumps over the lazy dog.\n"
        "A dog leaps over the fence; the fox jumps again, and the dog jumps after it.\n"
        "Brown bread, a bin, a Barn and a bun: banners in the breeze.\n"
        "Added, faded, read, breed, need: the engine marks every match as you type.\n");
    state->text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    split->addWidget(state->text);

    auto* side = new QWidget;
    auto* sideLayout = new QVBoxLayout(side);
    sideLayout->setContentsMargins(0, 0, 0, 0);
    sideLayout->addWidget(new QLabel("Matches and groups:"));
    state->groups = new QListWidget;
    sideLayout->addWidget(state->groups, 3);
    sideLayout->addWidget(new QLabel("Program:"));
    state->program = new QPlainTextEdit;
    state->program->setReadOnly(true);
    state->program->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    sideLayout->addWidget(state->program, 2);
    split->addWidget(side);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    layout->addWidget(split, 1);

    QObject::connect(state->pattern, &QLineEdit::textChanged, page, [state] { state->Update(); });
    QObject::connect(state->caseInsensitive, &QCheckBox::toggled, page, [state] { state->Update(); });
    QObject::connect(state->autoMatch, &QCheckBox::toggled, page, [state] { state->Update(); });
    QObject::connect(state->text, &QPlainTextEdit::textChanged, page, [state] { state->Update(); });
    state->Update();
    return page;
}

}  // namespace

static gallery::GalleryPage page(40, "Regular expressions", [](QWidget* parent) -> QWidget* { return CreatePage(parent); });
