// Properties of live QObjects for the object inspector: an IProperty family
// over Qt's meta-object system, so the inspector edits any QObject.
//
// - Every readable property of the object's meta-object is a row, plus the
//   object's dynamic properties and a "parent" reference; rows are sorted by
//   name, case-insensitively.
// - Writable properties are editable; the text converts by the property's
//   type, and a text that doesn't convert is refused with the library's
//   messages ("Value must be a valid integer number", ...).
// - Enumerations and booleans give value lists; flags give a value list of
//   their keys and one Boolean sub-property per bit.
// - Fonts, sizes, points and rectangles give sub-properties (family, size,
//   bold...; width, height; x, y), each written back through the whole value.
// - Pointers to QObjects are references: their sub-properties are the
//   object's properties, and the inspector's cycle guard applies.
// - Resettable properties are revertable (QMetaProperty::reset).
// - A snapshot answers "is this the default": the value an object's property
//   had the first time the inspector showed that object (for the inspected
//   object itself, when the page opened).
// - An object destroyed while shown leaves rows that show nothing, have no
//   sub-properties and refuse writes with "The object no longer exists".
#pragma once

#include <QMetaEnum>
#include <QMetaProperty>
#include <QObject>
#include <QPointer>
#include <QVariant>
#include <map>
#include <memory>
#include <vector>

#include "foundation/DesignIntf.h"

namespace ide {

// The first value seen of each (object, property).
// Thread: UI thread only.
class TQtSnapshot {
public:
    // Records the value unless one is recorded for this object and name.
    void Record(QObject* Object, const QByteArray& Name, const QVariant& Value);
    // The recorded value; invalid when none or when the object is gone.
    QVariant Initial(const QObject* Object, const QByteArray& Name) const;
    // Forgets everything (a new page).
    void Clear() { FValues.clear(); }

private:
    struct Entry {
        QPointer<QObject> Object;
        QVariant Value;
    };
    std::map<std::pair<const QObject*, QByteArray>, Entry> FValues;
};

// How a row reaches its value: a meta property, a dynamic property, the
// parent, or a part of another row's value.
// Thread: UI thread only.
class TQtAccessor {
public:
    virtual ~TQtAccessor() = default;
    virtual QObject* Object() const = 0;
    virtual QVariant Read() const = 0;
    // Raises when the value can't be written.
    virtual void Write(const QVariant& Value) = 0;
    virtual bool Writable() const = 0;
    virtual bool Resettable() const { return false; }
    virtual void Reset() {}
    virtual QMetaType Type() const = 0;
    virtual QMetaEnum Enum() const { return {}; }
    // The value when the object was first shown; invalid when unknown.
    virtual QVariant Initial() const = 0;
};

// The rows of an object's properties, sorted by name.
std::vector<IntfRef<IProperty>> QtObjectProperties(QObject* Object, const std::shared_ptr<TQtSnapshot>& Snapshot);

// The row of one named property of an object (meta, dynamic or "parent"),
// nil when the object has none of that name.
IntfRef<IProperty> QtObjectProperty(QObject* Object, const QByteArray& Name,
                                    const std::shared_ptr<TQtSnapshot>& Snapshot);

// The text of a value as the inspector shows it, and back. FromText raises
// with the library's message when the text doesn't convert.
QString QtValueText(const QVariant& Value, const QMetaEnum& Enum);
QVariant QtValueFromText(const QString& Text, QMetaType Type, const QMetaEnum& Enum);

}  // namespace ide
