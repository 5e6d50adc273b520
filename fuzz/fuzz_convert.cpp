// Fuzz target for the text conversions that read stored or streamed text:
// integer, float, date and time parsing, colours, and the format-string
// readers (float formats, date formats, masks) and the field-list parser.
// Parsers either answer or raise EConvertError; formatters take any format.
// Byte 0 picks the conversion; the rest is UTF-16 text (two bytes a unit).
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "foundation/Conversions.h"
#include "foundation/Variant.h"
#include "settings/IDERegIniPropSet.h"

using namespace ide;

namespace {
void Check(bool c) {
    if (!c) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    if (Size < 1) return 0;
    String text;
    for (size_t i = 1; i + 1 < Size && text.size() < 512; i += 2) text.push_back(Char(Data[i] | (Data[i + 1] << 8)));
    const double value = Size > 9 ? static_cast<double>(Data[1] | (Data[2] << 8)) * (Data[3] & 1 ? -1.0 : 1.0) / 7.0
                                  : 1234.5678;
    try {
        switch (Data[0] % 10) {
            case 0: {
                int32_t v;
                if (TryStrToInt(text, v)) Check(StrToInt(IntToStr(v)) == v);
                break;
            }
            case 1: {
                double d;
                if (TryStrToFloat(text, d)) Check(StrToFloat(FloatToStrF(d, ffGeneral, 17, 0)) == d);
                break;
            }
            case 2: {
                TDateTime d;
                if (TryStrToDateTime(text, d, FormatSettings())) (void)DateTimeToStr(d);
                break;
            }
            case 3: (void)FormatFloat(text, value); break;
            case 4: (void)FormatDateTime(text, 45000.0 + value / 1000.0); break;
            case 5: (void)FormatMaskText(text, u"1234567890abcdef"); break;
            case 6: {
                TColor c;
                try {
                    c = StringToColor(text);
                } catch (const EConvertError&) {
                    break;
                }
                Check(StringToColor(ColorToString(c)) == c);
                break;
            }
            case 7: {
                Variant v(text);
                try {
                    (void)v.AsInteger();
                } catch (const EVariantError&) {
                }
                try {
                    (void)v.AsDateTime();
                } catch (const EVariantError&) {
                }
                (void)(v == Variant(1));
                break;
            }
            case 8: {
                TIniPropSet set(nullptr);
                auto* f = new TStringPropField(&set);
                f->SetFieldName(u"A");
                f->SetPropSet(&set);
                std::vector<TPropField*> list;
                try {
                    set.GetFieldList(list, text);
                } catch (const Exception&) {
                }
                break;
            }
            case 9: (void)FloatToStrF(value, static_cast<TFloatFormat>(Data[0] / 10 % 5), Data[0] % 20, Data[0] % 7);
                break;
        }
    } catch (const EConvertError&) {
    }
    return 0;
}
