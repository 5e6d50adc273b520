// The messages of the settings layer, with their exact texts. Raised as the
// plain exception class (Exception) through PropError/PropErrorFmt.
#pragma once

namespace ide::IDEConst {

inline constexpr const char* SCantModifyFieldName = "Field name can't be modified";
inline constexpr const char* SFieldNameMissing = "Field name missing";
inline constexpr const char* SDuplicateFieldName = "Duplicate field name '%s'";
inline constexpr const char* SPropSetFieldNotFound = "%s: Field '%s' not found";
inline constexpr const char* SFieldNotFound = "Field '%s' not found";
inline constexpr const char* SUnknownFieldType = "Field '%s' is of an unknown type";
inline constexpr const char* SPropValueDuplicate = "Duplicate Value: %d";
inline constexpr const char* SPropValueOutOfRange = "Value not in the range %d to %d";
inline constexpr const char* SPropValueOutOfRangeFloat = "Value not in the range %g to %g";
inline constexpr const char* SPropValueNotInteger = "Value must be a valid integer number";
inline constexpr const char* SPropValueNotColor = "Value must be a valid color";
inline constexpr const char* SPropValueNotFloat = "Value must be a valid floating point number";
inline constexpr const char* SPropValueNotDateTime = "Value must be a valid date/time";
inline constexpr const char* sInvalidEnumerationValue = "Invalid enumeration value";
inline constexpr const char* SCircularPropSetSource = "Cannot link a TPropSetSource to itself";
inline constexpr const char* SInvalidPropRegProc = "Invalid Prop Field registration proc";
inline constexpr const char* sCantOpenKey = "Unable to open Key: %s";

}  // namespace ide::IDEConst
