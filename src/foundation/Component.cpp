#include "foundation/Component.h"

#include <algorithm>

#include "foundation/TextCompare.h"

namespace ide {

void TPersistent::Assign(TPersistent* Source) {
    if (Source) Source->AssignTo(this);
    else RaiseAssignError(nullptr, this);
}

void TPersistent::AssignTo(TPersistent* Dest) { RaiseAssignError(this, Dest); }

bool IsValidIdent(std::u16string_view s) {
    if (s.empty()) return false;
    auto alpha = [](Char c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_'; };
    if (!alpha(s[0])) return false;
    for (Char c : s)
        if (!alpha(c) && !(c >= u'0' && c <= u'9')) return false;
    return true;
}

TComponent::TComponent(TComponent* AOwner) {
    if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
    Destroying();
    // Tell everyone who asked; they drop their references to this one.
    while (!FFreeNotifies.empty()) {
        TComponent* other = FFreeNotifies.back();
        FFreeNotifies.pop_back();
        auto& back = other->FFreeNotifies;
        back.erase(std::remove(back.begin(), back.end(), this), back.end());
        other->Notification(this, opRemove);
    }
    DestroyComponents();
    if (FOwner) FOwner->RemoveComponent(this);
}

TComponent* TComponent::GetComponent(int Index) const {
    if (Index < 0 || Index >= GetComponentCount())
        throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    return FComponents[static_cast<size_t>(Index)];
}

int TComponent::GetComponentIndex() const {
    if (!FOwner) return -1;
    auto& v = FOwner->FComponents;
    auto it = std::find(v.begin(), v.end(), this);
    return it == v.end() ? -1 : static_cast<int>(it - v.begin());
}

TComponent* TComponent::FindComponent(std::u16string_view Name) const {
    if (Name.empty()) return nullptr;
    for (TComponent* c : FComponents)
        if (AnsiSameText(c->FName, Name)) return c;
    return nullptr;
}

void TComponent::SetName(const String& NewName) {
    if (FName == NewName) return;
    if (!NewName.empty() && !IsValidIdent(NewName))
        throw EComponentError("'" + Utf8(NewName) + "' is not a valid component name");
    if (FOwner) FOwner->ValidateRename(this, FName, NewName);
    else ValidateRename(nullptr, FName, NewName);
    FName = NewName;
}

void TComponent::ValidateRename(TComponent* AComponent, const String& CurName, const String& NewName) {
    if (AComponent && !AnsiSameText(CurName, NewName)) {
        TComponent* other = FindComponent(NewName);
        if (other && other != AComponent)
            throw EComponentError("A component named " + Utf8(NewName) + " already exists");
    }
}

void TComponent::SetComponentState(TComponentStateFlag Flag, bool On) {
    if (On) FComponentState |= Flag;
    else FComponentState &= ~static_cast<uint32_t>(Flag);
}

void TComponent::SetDesigning(bool Value) {
    SetComponentState(csDesigning, Value);
    for (TComponent* c : FComponents) c->SetDesigning(Value);
}

void TComponent::Insert(TComponent* c) {
    FComponents.push_back(c);
    c->FOwner = this;
    ++FComponentsVersion;
}

void TComponent::Remove(TComponent* c) {
    c->FOwner = nullptr;
    // Components are mostly removed last first (DestroyComponents, an owner
    // freeing its newest child): look from the back.
    auto it = std::find(FComponents.rbegin(), FComponents.rend(), c);
    if (it != FComponents.rend()) FComponents.erase(std::next(it).base());
    ++FComponentsVersion;
}

void TComponent::InsertComponent(TComponent* c) {
    if (!c || c->FOwner == this) return;
    if (!c->FName.empty()) ValidateRename(c, String(), c->FName);
    if (c->FOwner) c->FOwner->RemoveComponent(c);
    Insert(c);
    if (InState(csDesigning)) c->SetDesigning(true);
    Notification(c, opInsert);
}

void TComponent::RemoveComponent(TComponent* c) {
    if (!c || c->FOwner != this) return;
    Notification(c, opRemove);
    Remove(c);
}

void TComponent::DestroyComponents() {
    while (!FComponents.empty()) {
        TComponent* c = FComponents.back();
        Remove(c);
        delete c;
    }
}

void TComponent::Destroying() {
    if (InState(csDestroying)) return;
    SetComponentState(csDestroying, true);
    for (TComponent* c : FComponents) c->Destroying();
}

void TComponent::FreeNotification(TComponent* c) {
    if (!c || c == this) return;
    if (std::find(FFreeNotifies.begin(), FFreeNotifies.end(), c) == FFreeNotifies.end()) {
        FFreeNotifies.push_back(c);
        c->FFreeNotifies.push_back(this);
    }
    SetComponentState(csFreeNotification, true);
}

void TComponent::RemoveFreeNotification(TComponent* c) {
    if (!c) return;
    FFreeNotifies.erase(std::remove(FFreeNotifies.begin(), FFreeNotifies.end(), c), FFreeNotifies.end());
    c->FFreeNotifies.erase(std::remove(c->FFreeNotifies.begin(), c->FFreeNotifies.end(), this),
                           c->FFreeNotifies.end());
}

void TComponent::Notification(TComponent* c, TOperation op) {
    if (op == opRemove && c) RemoveFreeNotification(c);
    // A copy: a handler may free or move components of this one. Only once
    // the list has changed is each one looked up before it is told (a freed
    // one must not be reached); otherwise telling n children costs n calls.
    if (FComponents.empty()) return;
    const std::vector<TComponent*> owned = FComponents;
    const uint64_t version = FComponentsVersion;
    for (TComponent* o : owned)
        if (version == FComponentsVersion || std::find(FComponents.begin(), FComponents.end(), o) != FComponents.end())
            o->Notification(c, op);
}

void TComponent::BeginLoading() {
    SetComponentState(csLoading, true);
    for (TComponent* c : FComponents) c->BeginLoading();
}

void TComponent::Loaded() { SetComponentState(csLoading, false); }

void TComponent::ReadState(TReader& /*Reader*/) {
    SetComponentState(csReading, true);
    SetComponentState(csReading, false);
}

void TComponent::GetChildren(const TGetChildProc& /*Proc*/, TComponent* /*Root*/) {}

}  // namespace ide
