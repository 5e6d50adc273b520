#include "foundation/FormatSettings.h"

namespace ide {

namespace {
TFormatSettings MakeDefault() {
    TFormatSettings f;
    f.CurrencyString = u"$";
    f.ShortDateFormat = u"yyyy/mm/dd";
    f.LongDateFormat = u"dddd, mmmm d, yyyy";
    f.TimeAMString = u"AM";
    f.TimePMString = u"PM";
    f.ShortTimeFormat = u"hh:nn";
    f.LongTimeFormat = u"hh:nn:ss";
    f.ShortMonthNames = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                         u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
    f.LongMonthNames = {u"January", u"February", u"March",     u"April",   u"May",      u"June",
                        u"July",    u"August",   u"September", u"October", u"November", u"December"};
    f.ShortDayNames = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
    f.LongDayNames = {u"Sunday", u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday"};
    return f;
}
}  // namespace

const TFormatSettings& DefaultFormatSettings() {
    static const TFormatSettings f = MakeDefault();
    return f;
}

TFormatSettings& FormatSettings() {
    static TFormatSettings f = DefaultFormatSettings();
    return f;
}

}  // namespace ide
