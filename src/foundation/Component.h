// The non-visual component: an owner tree in which a component frees what it
// owns, a name unique among its owner's components, a state (loading,
// designing, destroying...), free notification between components that refer
// to each other, and the streaming hooks (Loaded, ReadState, the parent
// component of a child that streams inside another).
//
// Ownership: a component created with an owner is deleted by that owner's
// destructor, last created first; deleting it earlier removes it from its
// owner. Components are made with `new` and freed with `delete` (or by their
// owner); a component without an owner belongs to whoever made it.
//
// Thread: UI thread only.
#pragma once

#include <functional>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

class TComponent;

IDE_DECLARE_EXCEPTION(EComponentError, Exception)

// A method-pointer event with its sender.
using TNotifyEvent = std::function<void(TObject* Sender)>;

// An object that can copy itself from another of a compatible class.
class TPersistent : public TObject {
public:
    // Asks Source to copy itself here (AssignTo); raises the assign error
    // when neither side knows the other.
    virtual void Assign(TPersistent* Source);

protected:
    virtual void AssignTo(TPersistent* Dest);
};

enum TComponentStateFlag : uint32_t {
    csLoading = 1u << 0,
    csReading = 1u << 1,
    csWriting = 1u << 2,
    csDestroying = 1u << 3,
    csDesigning = 1u << 4,
    csAncestor = 1u << 5,
    csUpdating = 1u << 6,
    csFixups = 1u << 7,
    csFreeNotification = 1u << 8,
    csInline = 1u << 9,
    csDesignInstance = 1u << 10,
};
using TComponentState = uint32_t;

enum TOperation { opInsert, opRemove };

// What a component's ReadState sees of the reader that streams it in: the
// root being read, the owner new components get, and the parent of the
// component being read (a set for a field, a control for a control).
struct TReader {
    TComponent* Root = nullptr;
    TComponent* Owner = nullptr;
    TComponent* Parent = nullptr;
};

class TComponent : public TPersistent {
public:
    explicit TComponent(TComponent* AOwner);
    ~TComponent() override;
    TComponent(const TComponent&) = delete;
    TComponent& operator=(const TComponent&) = delete;

    TComponent* GetOwner() const { return FOwner; }
    int GetComponentCount() const { return static_cast<int>(FComponents.size()); }
    TComponent* GetComponent(int Index) const;
    int GetComponentIndex() const;
    TComponent* FindComponent(std::u16string_view Name) const;

    const String& GetName() const { return FName; }
    // Raises "'x' is not a valid component name" unless the name is empty or
    // an identifier, and "A component named x already exists" when a sibling
    // has it (case-insensitive).
    virtual void SetName(const String& NewName);

    TComponentState ComponentState() const { return FComponentState; }
    bool InState(TComponentStateFlag Flag) const { return (FComponentState & Flag) != 0; }
    // Sets or clears csDesigning here and in every owned component.
    void SetDesigning(bool Value);

    // Moves an unowned component (or one of another owner) under this one.
    void InsertComponent(TComponent* AComponent);
    void RemoveComponent(TComponent* AComponent);
    // Frees every owned component, last first.
    void DestroyComponents();
    // Marks this component and its owned ones as being destroyed.
    void Destroying();

    // Each of the two is told (Notification opRemove) when the other is
    // destroyed; a component that is not owned by this one's owner needs it.
    void FreeNotification(TComponent* AComponent);
    void RemoveFreeNotification(TComponent* AComponent);

    // Streaming: loading starts with BeginLoading (csLoading); Loaded clears
    // it. ReadState reads one component; the base only sets csReading around
    // nothing and leaves attaching to descendants.
    void BeginLoading();
    virtual void Loaded();
    virtual void ReadState(TReader& Reader);
    virtual bool HasParent() const { return false; }
    virtual TComponent* GetParentComponent() const { return nullptr; }
    virtual void SetParentComponent(TComponent* /*Value*/) {}
    using TGetChildProc = std::function<void(TComponent* Child)>;
    // Calls Proc with the children that stream inside this component.
    virtual void GetChildren(const TGetChildProc& Proc, TComponent* Root);

    intptr_t Tag = 0;

protected:
    // Told of components inserted into or removed from this one's owner
    // tree, and of free-notified components going away. Overrides clear their
    // references and call the inherited code, which passes it to the owned
    // components.
    virtual void Notification(TComponent* AComponent, TOperation Operation);
    virtual void ValidateRename(TComponent* AComponent, const String& CurName, const String& NewName);
    void SetComponentState(TComponentStateFlag Flag, bool On);

private:
    void Insert(TComponent* AComponent);
    void Remove(TComponent* AComponent);

    TComponent* FOwner = nullptr;
    String FName;
    std::vector<TComponent*> FComponents;
    // Counts changes of FComponents, so a walk can tell whether it moved.
    uint64_t FComponentsVersion = 0;
    std::vector<TComponent*> FFreeNotifies;
    TComponentState FComponentState = 0;
};

// An identifier: a letter or "_", then letters, digits or "_" (ASCII).
bool IsValidIdent(std::u16string_view Ident);

}  // namespace ide
