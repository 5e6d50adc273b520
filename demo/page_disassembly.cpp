// Gallery page "Disassembly": the disassembler view over a real program.
//
// Live mode runs the gallery's own debuggee (integer, x87 and SSE loops and a
// text buffer, built -g -O0 with the gallery) under the debug host, stops it
// at a fixed line of the SSE loop and steps a fixed number of instructions,
// so the screenshot is the same on every run. Source lines stand above their
// code, function names above their first instruction, and a direct call gets
// a line naming its target. A click in the gutter toggles a real breakpoint
// (red mark); the arrow is the instruction pointer. Step and Run move the
// program and the selection follows it.
//
// Static mode disassembles /usr/bin/ls from the file alone, as the host does
// where tracing is refused.
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include <cinttypes>
#include <cstdio>
#include <memory>

#include "Gallery.h"
#include "cpuviews/widgets/DisassemblerView.h"
#include "platform/debughost/DisasmBackEnd.h"

using namespace ide;

namespace {

constexpr const char* kDebuggee = GALLERY_DISASM_DEBUGGEE;
constexpr int kStepsBeforeShot = 4;

class DisassemblyPage : public QWidget {
public:
    explicit DisassemblyPage(QWidget* Parent) : QWidget(Parent) {
        auto* layout = new QVBoxLayout(this);
        auto* row = new QHBoxLayout;
        FMode = new QComboBox;
        FMode->addItem("Live: the gallery's debuggee");
        FMode->addItem("Static: /usr/bin/ls");
        row->addWidget(FMode);
        FStep = new QPushButton("Step");
        FRun = new QPushButton("Run");
        auto* restart = new QPushButton("Restart");
        row->addWidget(FStep);
        row->addWidget(FRun);
        row->addWidget(restart);
        row->addStretch(1);
        row->addWidget(new QLabel("Click the gutter to set or clear a breakpoint"));
        layout->addLayout(row);
        FView = new TDisassemblerView;
        layout->addWidget(FView, 1);
        FStatus = new QLabel;
        layout->addWidget(FStatus);

        connect(FStep, &QPushButton::clicked, this, [this] { Move(false); });
        connect(FRun, &QPushButton::clicked, this, [this] { Move(true); });
        connect(restart, &QPushButton::clicked, this, [this] { FMode->currentIndex() == 0 ? StartLive() : StartStatic(); });
        connect(FMode, &QComboBox::currentIndexChanged, this, [this](int Index) { Index == 0 ? StartLive() : StartStatic(); });
        StartLive();
    }

    ~DisassemblyPage() override { TDisasmBackEnd::Detach(FView->Logic()); }

private:
    void Reset() {
        TDisasmBackEnd::Detach(FView->Logic());
        FBackEnd.reset();
        FProcess.reset();
        FView->Logic().ClearCache();
        FView->Logic().OnPaintGutter = nullptr;
        FView->Logic().OnGutterClicked = nullptr;
    }

    void StartLive() {
        Reset();
        try {
            FImage = TElfImage::Open(kDebuggee);
            FProcess = std::make_unique<TDebugProcess>();
            FProcess->Start(kDebuggee);
        } catch (const Exception& e) {
            FProcess.reset();
            StartStatic(kDebuggee, QString("Tracing failed (%1); showing the file").arg(e.what()));
            return;
        }
        FBackEnd = std::make_unique<TDisasmBackEnd>(*FProcess, FImage);
        Attach();
        // The fixed stop: the first statement of the SSE loop's body.
        const uint32_t file = FImage->FileIndexOf("disasm_debuggee.c");
        for (uint32_t line = 1; line < 200; ++line) {
            if (FImage->SourceText(file, line).find("x = x * 0.5") == std::string::npos) continue;
            if (const TLineRange* code = FImage->LineCode(file, line)) FBreakpoint = FBackEnd->ToProgram(code->Start);
            break;
        }
        if (FBreakpoint) FProcess->SetBreakpoint(FBreakpoint);
        FProcess->Continue();
        for (int i = 0; i < kStepsBeforeShot && FProcess->Stopped(); ++i) FProcess->Step();
        ShowInstructionPointer(/*Recentre=*/true);
    }

    void StartStatic(const char* Path = "/usr/bin/ls", QString Note = {}) {
        Reset();
        try {
            FImage = TElfImage::Open(Path);
        } catch (const Exception& e) {
            FStatus->setText(e.what());
            return;
        }
        FBackEnd = std::make_unique<TDisasmBackEnd>(FImage);
        Attach();
        TDisassemblerLogic& v = FView->Logic();
        const int64_t entry = static_cast<int64_t>(FImage->EntryPoint());
        v.SetTopAddress(entry);
        v.InternalSetSelectedAddress(entry);
        FView->viewport()->update();
        QString text = QString::fromStdString(FBackEnd->StatusText());
        if (!FImage->HasDebugInfo()) text += " · " + QString::fromStdString(FImage->DebugInfoMessage());
        if (!Note.isEmpty()) text = Note + " · " + text;
        FStatus->setText(text);
        FStep->setEnabled(false);
        FRun->setEnabled(false);
    }

    void Attach() {
        TDisassemblerLogic& v = FView->Logic();
        FBackEnd->Attach(v);
        FStep->setEnabled(FProcess != nullptr);
        FRun->setEnabled(FProcess != nullptr);
        v.OnPaintGutter = [this](TDisassemblerLogic*, int64_t Address, TCanvas& Canvas, const TRect& R, bool) {
            Canvas.FillRect(R);
            if (Address < 0 || !FProcess) return;
            const int h = R.Height();
            if (FProcess->IsBreakpoint(static_cast<uint64_t>(Address))) {
                // A red square mark.
                Canvas.SetBrushColor(RGBColor(0xE0, 0x30, 0x30));
                Canvas.SetPenColor(RGBColor(0x90, 0x10, 0x10));
                Canvas.Rectangle(Rect(R.Left + 4, R.Top + 2, R.Left + 2 + h - 2, R.Bottom - 2));
            }
            if (FProcess->Stopped() && static_cast<uint64_t>(Address) == FProcess->InstructionPointer()) {
                // A green arrow, drawn as lines narrowing to its tip.
                Canvas.SetPenColor(RGBColor(0x20, 0xA0, 0x20));
                const int tipX = R.Right - 2, midY = R.Top + h / 2;
                for (int i = 0; i <= h / 2 - 2; ++i) {
                    Canvas.MoveTo(tipX - 10 + i, midY - (h / 2 - 2) + i);
                    Canvas.LineTo(tipX - 10 + i, midY + (h / 2 - 2) - i + 1);
                }
            }
        };
        v.OnGutterClicked = [this](TDisassemblerLogic* Sender, TMouseButton Button, TShiftState) {
            if (Button != mbLeft || !FProcess || !FProcess->Stopped()) return;
            FProcess->ToggleBreakpoint(static_cast<uint64_t>(Sender->SelectedAddress()));
            FView->viewport()->update();
            UpdateStatus();
        };
    }

    void Move(bool Run) {
        if (!FProcess) return;
        Run ? FProcess->Continue() : FProcess->Step();
        ShowInstructionPointer(false);
    }

    void ShowInstructionPointer(bool Recentre) {
        TDisassemblerLogic& v = FView->Logic();
        if (FProcess && FProcess->Stopped()) {
            const int64_t ip = static_cast<int64_t>(FProcess->InstructionPointer());
            if (Recentre) {
                v.SetTopAddress(v.GoBack(8, ip));
                v.InternalSetSelectedAddress(ip);
            } else {
                v.SteppingSetSelectedAddress(ip);
            }
        }
        FView->viewport()->update();
        UpdateStatus();
    }

    void UpdateStatus() {
        if (!FProcess) return;
        QString text = QString::fromStdString(FBackEnd->StatusText());
        if (FProcess->Stopped()) {
            const uint64_t ip = FProcess->InstructionPointer();
            char buf[40];
            std::snprintf(buf, sizeof buf, " at 0x%" PRIx64, ip);
            text += buf;
            if (const TElfSymbol* s = FImage->SymbolContaining(ip - FBackEnd->Bias())) text += " in " + QString::fromStdString(s->Name);
            if (const TLineRange* l = FImage->LineAt(ip - FBackEnd->Bias()))
                text += QString(" (disasm_debuggee.c:%1)").arg(l->Line);
            text += QString(" · %1 breakpoint(s)").arg(FProcess->Breakpoints().size());
        } else {
            text += " · the code shown now comes from the file";
            FStep->setEnabled(false);
            FRun->setEnabled(false);
        }
        FStatus->setText(text);
    }

    QComboBox* FMode = nullptr;
    QPushButton* FStep = nullptr;
    QPushButton* FRun = nullptr;
    QLabel* FStatus = nullptr;
    TDisassemblerView* FView = nullptr;
    std::shared_ptr<TElfImage> FImage;
    std::unique_ptr<TDebugProcess> FProcess;
    std::unique_ptr<TDisasmBackEnd> FBackEnd;
    uint64_t FBreakpoint = 0;
};

gallery::GalleryPage page(60, "Disassembly", [](QWidget* parent) -> QWidget* { return new DisassemblyPage(parent); });

}  // namespace
