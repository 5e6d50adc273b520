#include "inspector/widgets/QtObjectProperties.h"

#include <QColor>
#include <QFont>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QStringList>
#include <algorithm>
#include <bit>

namespace ide {

namespace {

const char* const SNotInteger = "Value must be a valid integer number";
const char* const SNotFloat = "Value must be a valid floating point number";
const char* const SNotEnum = "Invalid enumeration value";
const char* const SInvalidValue = "Invalid property value";
const char* const SObjectGone = "The object no longer exists";

String S(const QString& q) { return String(reinterpret_cast<const char16_t*>(q.utf16()), static_cast<size_t>(q.size())); }
QString Q(const String& s) { return QString::fromUtf16(s.data(), static_cast<qsizetype>(s.size())); }

bool IsObjectPointer(QMetaType t) { return t.flags() & QMetaType::PointerToQObject; }

int EnumInt(const QVariant& v) {
    bool ok = false;
    const int i = v.toInt(&ok);
    if (ok) return i;
    if (v.metaType().sizeOf() == sizeof(int) && v.constData()) return *static_cast<const int*>(v.constData());
    return 0;
}

// The distinct single-bit keys of a flag enumeration, first name for a value.
std::vector<std::pair<QByteArray, int>> FlagBits(const QMetaEnum& e) {
    std::vector<std::pair<QByteArray, int>> bits;
    for (int i = 0; i < e.keyCount(); ++i) {
        const int v = e.value(i);
        if (v <= 0 || std::popcount(static_cast<unsigned>(v)) != 1) continue;
        if (std::none_of(bits.begin(), bits.end(), [v](auto& b) { return b.second == v; }))
            bits.emplace_back(e.key(i), v);
    }
    return bits;
}

// --- the parts of compound values

enum TPart { ptFamily, ptPointSize, ptBold, ptItalic, ptUnderline, ptStrikeOut, ptX, ptY, ptWidth, ptHeight };

struct PartInfo {
    TPart Part;
    const char* Name;
    QMetaType::Type Type;
};

std::vector<PartInfo> PartsOf(QMetaType t) {
    switch (t.id()) {
        case QMetaType::QFont:
            return {{ptFamily, "family", QMetaType::QString},   {ptPointSize, "pointSize", QMetaType::Int},
                    {ptBold, "bold", QMetaType::Bool},          {ptItalic, "italic", QMetaType::Bool},
                    {ptUnderline, "underline", QMetaType::Bool}, {ptStrikeOut, "strikeOut", QMetaType::Bool}};
        case QMetaType::QSize:
            return {{ptWidth, "width", QMetaType::Int}, {ptHeight, "height", QMetaType::Int}};
        case QMetaType::QPoint:
            return {{ptX, "x", QMetaType::Int}, {ptY, "y", QMetaType::Int}};
        case QMetaType::QRect:
            return {{ptX, "x", QMetaType::Int},
                    {ptY, "y", QMetaType::Int},
                    {ptWidth, "width", QMetaType::Int},
                    {ptHeight, "height", QMetaType::Int}};
        default:
            return {};
    }
}

QVariant GetPart(const QVariant& whole, TPart part) {
    switch (whole.metaType().id()) {
        case QMetaType::QFont: {
            const QFont f = whole.value<QFont>();
            switch (part) {
                case ptFamily: return f.family();
                case ptPointSize: return f.pointSize();
                case ptBold: return f.bold();
                case ptItalic: return f.italic();
                case ptUnderline: return f.underline();
                case ptStrikeOut: return f.strikeOut();
                default: return {};
            }
        }
        case QMetaType::QSize: {
            const QSize s = whole.toSize();
            return part == ptWidth ? s.width() : s.height();
        }
        case QMetaType::QPoint: {
            const QPoint p = whole.toPoint();
            return part == ptX ? p.x() : p.y();
        }
        case QMetaType::QRect: {
            const QRect r = whole.toRect();
            switch (part) {
                case ptX: return r.x();
                case ptY: return r.y();
                case ptWidth: return r.width();
                default: return r.height();
            }
        }
        default: return {};
    }
}

QVariant SetPart(QVariant whole, TPart part, const QVariant& v) {
    switch (whole.metaType().id()) {
        case QMetaType::QFont: {
            QFont f = whole.value<QFont>();
            switch (part) {
                case ptFamily: f.setFamily(v.toString()); break;
                case ptPointSize: f.setPointSize(v.toInt()); break;
                case ptBold: f.setBold(v.toBool()); break;
                case ptItalic: f.setItalic(v.toBool()); break;
                case ptUnderline: f.setUnderline(v.toBool()); break;
                case ptStrikeOut: f.setStrikeOut(v.toBool()); break;
                default: break;
            }
            return f;
        }
        case QMetaType::QSize: {
            QSize s = whole.toSize();
            part == ptWidth ? s.setWidth(v.toInt()) : s.setHeight(v.toInt());
            return s;
        }
        case QMetaType::QPoint: {
            QPoint p = whole.toPoint();
            part == ptX ? p.setX(v.toInt()) : p.setY(v.toInt());
            return p;
        }
        case QMetaType::QRect: {
            QRect r = whole.toRect();
            switch (part) {
                case ptX: r.moveLeft(v.toInt()); break;
                case ptY: r.moveTop(v.toInt()); break;
                case ptWidth: r.setWidth(v.toInt()); break;
                default: r.setHeight(v.toInt()); break;
            }
            return r;
        }
        default: return whole;
    }
}

// --- accessors

class TMetaAccessor : public TQtAccessor {
public:
    TMetaAccessor(QObject* o, QMetaProperty p, const std::shared_ptr<TQtSnapshot>& snap)
        : FObject(o), FProp(p), FSnapshot(snap) {
        if (snap) snap->Record(o, p.name(), p.read(o));
    }
    QObject* Object() const override { return FObject; }
    QVariant Read() const override { return FObject ? FProp.read(FObject) : QVariant(); }
    void Write(const QVariant& v) override {
        if (!FObject) throw Exception(SObjectGone);
        if (!FProp.write(FObject, v)) throw Exception(SInvalidValue);
    }
    bool Writable() const override { return FProp.isWritable(); }
    bool Resettable() const override { return FProp.isResettable(); }
    void Reset() override {
        if (FObject) FProp.reset(FObject);
    }
    QMetaType Type() const override { return FProp.metaType(); }
    QMetaEnum Enum() const override { return FProp.isEnumType() ? FProp.enumerator() : QMetaEnum(); }
    QVariant Initial() const override { return FSnapshot ? FSnapshot->Initial(FObject, FProp.name()) : QVariant(); }

private:
    QPointer<QObject> FObject;
    QMetaProperty FProp;
    std::shared_ptr<TQtSnapshot> FSnapshot;
};

class TDynamicAccessor : public TQtAccessor {
public:
    TDynamicAccessor(QObject* o, QByteArray name, const std::shared_ptr<TQtSnapshot>& snap)
        : FObject(o), FName(std::move(name)), FType(o->property(FName).metaType()), FSnapshot(snap) {
        if (snap) snap->Record(o, FName, o->property(FName));
    }
    QObject* Object() const override { return FObject; }
    QVariant Read() const override { return FObject ? FObject->property(FName) : QVariant(); }
    void Write(const QVariant& v) override {
        if (!FObject) throw Exception(SObjectGone);
        FObject->setProperty(FName, v);
    }
    bool Writable() const override { return !IsObjectPointer(FType); }
    QMetaType Type() const override { return FType; }
    QVariant Initial() const override { return FSnapshot ? FSnapshot->Initial(FObject, FName) : QVariant(); }

private:
    QPointer<QObject> FObject;
    QByteArray FName;
    QMetaType FType;
    std::shared_ptr<TQtSnapshot> FSnapshot;
};

class TParentAccessor : public TQtAccessor {
public:
    explicit TParentAccessor(QObject* o) : FObject(o) {}
    QObject* Object() const override { return FObject; }
    QVariant Read() const override { return QVariant::fromValue<QObject*>(FObject ? FObject->parent() : nullptr); }
    void Write(const QVariant&) override { throw Exception(SInvalidValue); }
    bool Writable() const override { return false; }
    QMetaType Type() const override { return QMetaType::fromType<QObject*>(); }
    QVariant Initial() const override { return {}; }

private:
    QPointer<QObject> FObject;
};

// A part of a compound value: reads the whole, writes the whole back.
class TPartAccessor : public TQtAccessor {
public:
    TPartAccessor(std::shared_ptr<TQtAccessor> whole, PartInfo part) : FWhole(std::move(whole)), FPart(part) {}
    QObject* Object() const override { return FWhole->Object(); }
    QVariant Read() const override {
        const QVariant w = FWhole->Read();
        return w.isValid() ? GetPart(w, FPart.Part) : QVariant();
    }
    void Write(const QVariant& v) override { FWhole->Write(SetPart(FWhole->Read(), FPart.Part, v)); }
    bool Writable() const override { return FWhole->Writable(); }
    QMetaType Type() const override { return QMetaType(FPart.Type); }
    QVariant Initial() const override {
        const QVariant w = FWhole->Initial();
        return w.isValid() ? GetPart(w, FPart.Part) : QVariant();
    }

private:
    std::shared_ptr<TQtAccessor> FWhole;
    PartInfo FPart;
};

// One bit of a flag value, as a Boolean.
class TFlagBitAccessor : public TQtAccessor {
public:
    TFlagBitAccessor(std::shared_ptr<TQtAccessor> whole, int bit) : FWhole(std::move(whole)), FBit(bit) {}
    QObject* Object() const override { return FWhole->Object(); }
    QVariant Read() const override {
        const QVariant w = FWhole->Read();
        return w.isValid() ? QVariant((EnumInt(w) & FBit) != 0) : QVariant();
    }
    void Write(const QVariant& v) override {
        const int now = EnumInt(FWhole->Read());
        FWhole->Write(QVariant(v.toBool() ? (now | FBit) : (now & ~FBit)));
    }
    bool Writable() const override { return FWhole->Writable(); }
    QMetaType Type() const override { return QMetaType::fromType<bool>(); }
    QVariant Initial() const override {
        const QVariant w = FWhole->Initial();
        return w.isValid() ? QVariant((EnumInt(w) & FBit) != 0) : QVariant();
    }

private:
    std::shared_ptr<TQtAccessor> FWhole;
    int FBit;
};

// --- the properties

TTypeKind KindOf(QMetaType t, const QMetaEnum& e) {
    if (e.isValid()) return e.isFlag() ? tkSet : tkEnumeration;
    if (IsObjectPointer(t)) return tkClass;
    switch (t.id()) {
        case QMetaType::Bool: return tkEnumeration;
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Short:
        case QMetaType::UShort: return tkInteger;
        case QMetaType::LongLong:
        case QMetaType::ULongLong: return tkInt64;
        case QMetaType::Double:
        case QMetaType::Float: return tkFloat;
        case QMetaType::QString: return tkString;
        case QMetaType::QChar: return tkChar;
        default: return PartsOf(t).empty() ? tkUnknown : tkRecord;
    }
}

class TQtProperty : public TInterfacedObject, public virtual IProperty, public IPropertyDefaultQuery {
public:
    TQtProperty(String name, std::shared_ptr<TQtAccessor> acc, std::shared_ptr<TQtSnapshot> snap)
        : FAccessor(std::move(acc)), FSnapshot(std::move(snap)) {
        const QMetaType t = FAccessor->Type();
        FType.Name = S(QString::fromLatin1(t.name() ? t.name() : ""));
        FType.Kind = KindOf(t, FAccessor->Enum());
        FInfo.Name = std::move(name);
        FInfo.PropType = &FType;
        FInfo.HasWriter = FAccessor->Writable();
    }

    void Activate() override {}
    bool AllEqual() override { return true; }
    bool AutoFill() override { return true; }
    void Edit() override {}
    bool HasInstance(const void* Instance) override { return Instance == FAccessor->Object(); }
    TPropertyAttributes GetAttributes() override {
        TPropertyAttributes a;
        const QMetaType t = FAccessor->Type();
        const QMetaEnum e = FAccessor->Enum();
        if (e.isValid()) {
            a.Include(paValueList);
            if (e.isFlag())
                a.Include(paSubProperties);
            else
                a.Include(paSortList);
        } else if (t.id() == QMetaType::Bool) {
            a.Include(paValueList);
        } else if (!PartsOf(t).empty()) {
            a.Include(paSubProperties);
        } else if (!Convertible(t)) {
            a.Include(paReadOnly);
        }
        if (!FAccessor->Writable()) a.Include(paReadOnly);
        if (FAccessor->Resettable()) a.Include(paRevertable);
        return a;
    }
    int GetEditLimit() override { return 0; }
    bool GetEditValue(String& Value) override {
        Value = GetValue();
        return FAccessor->Writable() && FAccessor->Object();
    }
    String GetName() override { return FInfo.Name; }
    void GetProperties(const TGetPropProc& Proc) override {
        if (!FAccessor->Object()) return;
        const QMetaEnum e = FAccessor->Enum();
        if (e.isValid() && e.isFlag()) {
            for (auto& [key, bit] : FlagBits(e))
                Proc(Make<TQtProperty>(S(QString::fromLatin1(key)), std::make_shared<TFlagBitAccessor>(FAccessor, bit),
                                       FSnapshot));
            return;
        }
        for (const PartInfo& part : PartsOf(FAccessor->Type()))
            Proc(Make<TQtProperty>(S(QString::fromLatin1(part.Name)), std::make_shared<TPartAccessor>(FAccessor, part),
                                   FSnapshot));
    }
    const TPropInfo* GetPropInfo() override { return &FInfo; }
    const TTypeInfo* GetPropType() override { return &FType; }
    String GetValue() override {
        const QVariant v = FAccessor->Read();
        return v.isValid() ? S(QtValueText(v, FAccessor->Enum())) : String();
    }
    void GetValues(const TGetStrProc& Proc) override {
        const QMetaEnum e = FAccessor->Enum();
        if (e.isValid()) {
            if (e.isFlag()) {
                for (auto& [key, bit] : FlagBits(e)) Proc(S(QString::fromLatin1(key)));
            } else {
                for (int i = 0; i < e.keyCount(); ++i) Proc(S(QString::fromLatin1(e.key(i))));
            }
        } else if (FAccessor->Type().id() == QMetaType::Bool) {
            Proc(u"False");
            Proc(u"True");
        }
    }
    void Revert() override { FAccessor->Reset(); }
    void SetValue(const String& Value) override {
        if (!FAccessor->Object()) throw Exception(SObjectGone);
        FAccessor->Write(QtValueFromText(Q(Value), FAccessor->Type(), FAccessor->Enum()));
    }
    bool ValueAvailable() override { return FAccessor->Object() != nullptr; }
    String GetDescription() override { return {}; }
    bool GetIsDefault() override {
        // A type that can't be compared (icons, palettes) can't tell: default.
        if (!FAccessor->Type().isEqualityComparable()) return true;
        const QVariant initial = FAccessor->Initial();
        return !initial.isValid() || initial == FAccessor->Read();
    }

protected:
    static bool Convertible(QMetaType t) {
        switch (t.id()) {
            case QMetaType::Int:
            case QMetaType::UInt:
            case QMetaType::Short:
            case QMetaType::UShort:
            case QMetaType::LongLong:
            case QMetaType::ULongLong:
            case QMetaType::Double:
            case QMetaType::Float:
            case QMetaType::QString:
            case QMetaType::QChar:
            case QMetaType::QColor:
            case QMetaType::QFont:
            case QMetaType::QSize:
            case QMetaType::QPoint:
            case QMetaType::QRect: return true;
            default: return false;
        }
    }
    std::shared_ptr<TQtAccessor> FAccessor;
    std::shared_ptr<TQtSnapshot> FSnapshot;
    TTypeInfo FType;
    TPropInfo FInfo;
};

// A pointer to another QObject: its sub-properties are that object's.
class TQtReferenceProperty : public TQtProperty, public IPropertyRefTarget {
public:
    using TQtProperty::TQtProperty;
    const void* GetRefTarget() override { return Target(); }
    TPropertyAttributes GetAttributes() override {
        TPropertyAttributes a{paReadOnly};
        if (Target()) a.Include(paSubProperties);
        return a;
    }
    bool GetEditValue(String& Value) override {
        Value = GetValue();
        return false;
    }
    void GetProperties(const TGetPropProc& Proc) override {
        if (QObject* t = Target())
            for (auto& p : QtObjectProperties(t, FSnapshot)) Proc(p);
    }
    void SetValue(const String&) override { throw Exception(SInvalidValue); }

private:
    QObject* Target() const {
        const QVariant v = FAccessor->Read();
        return v.isValid() ? v.value<QObject*>() : nullptr;
    }
};

IntfRef<IProperty> MakeProperty(const QByteArray& name, std::shared_ptr<TQtAccessor> acc,
                                const std::shared_ptr<TQtSnapshot>& snap) {
    const String n = S(QString::fromLatin1(name));
    if (IsObjectPointer(acc->Type())) return Make<TQtReferenceProperty>(n, std::move(acc), snap);
    return Make<TQtProperty>(n, std::move(acc), snap);
}

}  // namespace

// ---------------------------------------------------------------------------

void TQtSnapshot::Record(QObject* Object, const QByteArray& Name, const QVariant& Value) {
    auto key = std::make_pair(static_cast<const QObject*>(Object), Name);
    auto it = FValues.find(key);
    // A recorded object that died and whose address came back is a new object.
    if (it != FValues.end() && it->second.Object) return;
    FValues[key] = Entry{Object, Value};
}

QVariant TQtSnapshot::Initial(const QObject* Object, const QByteArray& Name) const {
    auto it = FValues.find(std::make_pair(Object, Name));
    if (it == FValues.end() || !it->second.Object) return {};
    return it->second.Value;
}

QString QtValueText(const QVariant& v, const QMetaEnum& e) {
    if (e.isValid()) {
        const int i = EnumInt(v);
        if (!e.isFlag()) {
            const char* key = e.valueToKey(i);
            return key ? QString::fromLatin1(key) : QString::number(i);
        }
        QStringList keys;
        for (auto& [key, bit] : FlagBits(e))
            if (i & bit) keys << QString::fromLatin1(key);
        return keys.join(QLatin1Char('|'));
    }
    const QMetaType t = v.metaType();
    if (IsObjectPointer(t)) {
        QObject* o = v.value<QObject*>();
        if (!o) return QString();
        const QString name = o->objectName();
        return name.isEmpty() ? QStringLiteral("(%1)").arg(QString::fromLatin1(o->metaObject()->className()))
                              : QStringLiteral("%1 (%2)").arg(name, QString::fromLatin1(o->metaObject()->className()));
    }
    switch (t.id()) {
        case QMetaType::Bool: return v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
        case QMetaType::Double:
        case QMetaType::Float: return QString::number(v.toDouble(), 'g', 15);
        case QMetaType::QFont: {
            const QFont f = v.value<QFont>();
            return QStringLiteral("%1, %2pt").arg(f.family()).arg(f.pointSize());
        }
        case QMetaType::QSize: return QStringLiteral("%1, %2").arg(v.toSize().width()).arg(v.toSize().height());
        case QMetaType::QPoint: return QStringLiteral("%1, %2").arg(v.toPoint().x()).arg(v.toPoint().y());
        case QMetaType::QRect: {
            const QRect r = v.toRect();
            return QStringLiteral("%1, %2, %3, %4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
        }
        case QMetaType::QColor: return v.value<QColor>().name();
        case QMetaType::QStringList: return v.toStringList().join(QLatin1Char(','));
        default: break;
    }
    if (v.canConvert<QString>()) return v.toString();
    return QStringLiteral("(%1)").arg(QString::fromLatin1(t.name() ? t.name() : "?"));
}

namespace {
std::vector<int> Numbers(const QString& text, size_t count) {
    const QStringList parts = text.split(QLatin1Char(','));
    if (static_cast<size_t>(parts.size()) != count) throw Exception(SInvalidValue);
    std::vector<int> r;
    for (const QString& p : parts) {
        bool ok = false;
        const int i = p.trimmed().toInt(&ok);
        if (!ok) throw Exception(SNotInteger);
        r.push_back(i);
    }
    return r;
}
}  // namespace

QVariant QtValueFromText(const QString& Text, QMetaType Type, const QMetaEnum& Enum) {
    const QString text = Text.trimmed();
    if (Enum.isValid()) {
        bool ok = false;
        int v;
        if (Enum.isFlag()) {
            v = text.isEmpty() ? 0 : Enum.keysToValue(text.toLatin1().constData(), &ok);
            ok = ok || text.isEmpty();
        } else {
            v = Enum.keyToValue(text.toLatin1().constData(), &ok);
        }
        if (!ok) {
            v = text.toInt(&ok);
            if (ok && !Enum.isFlag() && !Enum.valueToKey(v)) ok = false;
        }
        if (!ok) throw Exception(SNotEnum);
        return QVariant(v);
    }
    switch (Type.id()) {
        case QMetaType::Bool:
            if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0) return true;
            if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0) return false;
            throw Exception(SNotEnum);
        case QMetaType::Int:
        case QMetaType::Short:
        case QMetaType::LongLong: {
            bool ok = false;
            const qlonglong v = text.toLongLong(&ok);
            if (!ok) throw Exception(SNotInteger);
            return Type.id() == QMetaType::LongLong ? QVariant(v) : QVariant(static_cast<int>(v));
        }
        case QMetaType::UInt:
        case QMetaType::UShort:
        case QMetaType::ULongLong: {
            bool ok = false;
            const qulonglong v = text.toULongLong(&ok);
            if (!ok) throw Exception(SNotInteger);
            return Type.id() == QMetaType::ULongLong ? QVariant(v) : QVariant(static_cast<uint>(v));
        }
        case QMetaType::Double:
        case QMetaType::Float: {
            bool ok = false;
            const double v = text.toDouble(&ok);
            if (!ok) throw Exception(SNotFloat);
            return v;
        }
        case QMetaType::QString: return Text;
        case QMetaType::QChar:
            if (Text.size() != 1) throw Exception(SInvalidValue);
            return Text.at(0);
        case QMetaType::QColor: {
            const QColor c = QColor::fromString(text);
            if (!c.isValid()) throw Exception("Value must be a valid color");
            return c;
        }
        case QMetaType::QFont: {
            const QStringList parts = text.split(QLatin1Char(','));
            bool ok = parts.size() == 2;
            QString size = ok ? parts[1].trimmed() : QString();
            if (size.endsWith(QLatin1String("pt"))) size.chop(2);
            const int points = size.toInt(&ok);
            if (!ok || points <= 0) throw Exception(SInvalidValue);
            QFont f(parts[0].trimmed());
            f.setPointSize(points);
            return f;
        }
        case QMetaType::QSize: {
            const auto n = Numbers(text, 2);
            return QSize(n[0], n[1]);
        }
        case QMetaType::QPoint: {
            const auto n = Numbers(text, 2);
            return QPoint(n[0], n[1]);
        }
        case QMetaType::QRect: {
            const auto n = Numbers(text, 4);
            return QRect(n[0], n[1], n[2], n[3]);
        }
        default: throw Exception(SInvalidValue);
    }
}

IntfRef<IProperty> QtObjectProperty(QObject* Object, const QByteArray& Name,
                                    const std::shared_ptr<TQtSnapshot>& Snapshot) {
    if (!Object) return nullptr;
    if (Name == "parent") return MakeProperty(Name, std::make_shared<TParentAccessor>(Object), Snapshot);
    const QMetaObject* mo = Object->metaObject();
    const int i = mo->indexOfProperty(Name.constData());
    if (i >= 0 && mo->property(i).isReadable())
        return MakeProperty(Name, std::make_shared<TMetaAccessor>(Object, mo->property(i), Snapshot), Snapshot);
    if (Object->dynamicPropertyNames().contains(Name))
        return MakeProperty(Name, std::make_shared<TDynamicAccessor>(Object, Name, Snapshot), Snapshot);
    return nullptr;
}

std::vector<IntfRef<IProperty>> QtObjectProperties(QObject* Object, const std::shared_ptr<TQtSnapshot>& Snapshot) {
    std::vector<std::pair<QByteArray, IntfRef<IProperty>>> rows;
    if (!Object) return {};
    const QMetaObject* mo = Object->metaObject();
    for (int i = 0; i < mo->propertyCount(); ++i) {
        const QMetaProperty p = mo->property(i);
        if (!p.isReadable()) continue;
        rows.emplace_back(p.name(), MakeProperty(p.name(), std::make_shared<TMetaAccessor>(Object, p, Snapshot), Snapshot));
    }
    for (const QByteArray& name : Object->dynamicPropertyNames()) {
        if (name.startsWith("_q_")) continue;
        rows.emplace_back(name, MakeProperty(name, std::make_shared<TDynamicAccessor>(Object, name, Snapshot), Snapshot));
    }
    rows.emplace_back("parent", MakeProperty("parent", std::make_shared<TParentAccessor>(Object), Snapshot));
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.first.compare(b.first, Qt::CaseInsensitive) < 0; });
    std::vector<IntfRef<IProperty>> r;
    r.reserve(rows.size());
    for (auto& row : rows) r.push_back(std::move(row.second));
    return r;
}

}  // namespace ide
