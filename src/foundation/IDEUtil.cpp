#include "foundation/IDEUtil.h"

namespace ide {

TExceptionChain::TExceptionChain(std::unique_ptr<TExceptionChain> Next, std::shared_ptr<Exception> E)
    : FNext(std::move(Next)), FE(std::move(E)) {}

void TExceptionChain::Append(std::shared_ptr<Exception> E) {
    if (!FE) {
        FE = std::move(E);
        return;
    }
    FNext = std::make_unique<TExceptionChain>(std::move(FNext), std::move(E));
}

void TExceptionChain::BeepAll() {
    if (FNext) FNext->BeepAll();
    if (FE) SystemBeep();
}

IntfRef<IInterface> TEventObject::GetSource() {
    if (!FSource) throw EIllegalArgumentException("Null source");
    return FSource;
}

void TDispatchableEvent::AppendException(std::shared_ptr<Exception> E) {
    if (!FChain) FChain = std::make_unique<TExceptionChain>();
    FChain->Append(std::move(E));
}

}  // namespace ide
