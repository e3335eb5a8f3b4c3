// Validation as the write call uses it.

#ifndef CONFIGAPI_VALIDATE_H_
#define CONFIGAPI_VALIDATE_H_

namespace configapi {

// Verdicts on a value.
constexpr int kValid = 0;
constexpr int kInvalid = -1;
constexpr int kNotWritable = 1;
constexpr int kUnknownAddress = 3;

// valid8() with an address that it may not change.
int validate(const char* section, const char* key, char* value);

}  // namespace configapi

#endif  // CONFIGAPI_VALIDATE_H_
