// Reads arbitrary bytes as parameter text in every way the daemon does and checks that
// writing strings and reading them back is lossless.
#include "platform/message/stringparam_scpi.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "fuzz_stringparam: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);

    StringParam_SCPI params(text);
    const int count = params.nbParams();
    check(count >= 0 && static_cast<std::size_t>(count) <= size + 1, "token count");

    // Reading by index and reading on with the cursor see the same tokens.
    std::vector<std::string> strings;
    for (int i = 0; i < count; ++i) {
        const std::string token = params.getToken(i);
        check(token.size() <= size, "token longer than the text");
        strings.push_back(params.getString(i));
        bool ok = false;
        params.getInt32(i, &ok);
    }
    params.setParams(text);
    for (int i = 0; i < count; ++i)
        check(params.getString() == strings[i], "cursor read differs from indexed read");
    check(params.getString().empty() && params.getToken().empty(), "read past the end");
    check(params.getString(count).empty() && params.getString(count + 7).empty(),
          "index past the end");
    if (count > 0)
        check(params.getString(count / 2) == strings[count / 2], "index after cursor reads");

    // The input itself as one string comes back unchanged.
    StringParam_SCPI single;
    single.addString(text);
    check(single.nbParams() == 1 && single.getString(0) == text, "addString round trip");

    // So does every token read from it, written as a list.
    StringParam_SCPI list;
    for (const std::string &value : strings)
        list.addString(value);
    StringParam_SCPI reread(list.getParams());
    check(reread.nbParams() == count, "list round trip count");
    for (int i = 0; i < count; ++i)
        check(reread.getString() == strings[i], "list round trip value");
    return 0;
}
