// What a host writes to the virtual reader: any bytes, cut in any way, with all its cards there.
#include "fuzz/support/virtual_reader.h"

// A byte that says which profile, then pieces: a length byte and bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const std::vector<vreader::BuiltInProfile> profiles = vreader::BuiltInProfiles();
    fuzz::Input input{data, size};
    fuzz::Desk desk;
    std::string error;
    FUZZ_CHECK(vreader::LoadProfile(profiles[input.Byte() % profiles.size()].name, "",
                                    &desk.profile, &desk.reader, &error));
    vreader::CommandStream stream;
    while (input.left > 0)
    {
        const fuzz::Bytes piece = input.Block();
        vreader::Feed(&stream, piece.data(), piece.size());
        vreader::WireItem item;
        while (vreader::NextItem(&stream, &item))
        {
            if (item.kind == vreader::WireKind::command)
                fuzz::ServeCommand(&desk, item.framing, item.bytes);
            fuzz::SwipeFor(&desk);
        }
    }
    return 0;
}
