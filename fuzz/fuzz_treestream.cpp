// Fuzz target for the tree stream readers: LoadFromStream and AddFromStream
// on arbitrary bytes, into a base tree or a string tree with captions, with a
// client OnLoadNode that reads a byte-chosen amount. After every input the
// tree must hold every invariant of the node store, answer a hit test, save,
// and clear.
//
// Layout of an input:
//   byte 0   bit 0 string tree, bit 1 toMultiSelect, bit 2 AddFromStream
//            below a prepared node instead of LoadFromStream
//   byte 1   bytes OnLoadNode reads (0 to 255; a short stream raises the
//            stream's own read error, which is fine)
//   rest     the stream
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "vtree/IDEVirtualTrees.h"

using namespace ide;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    if (Size < 2) return 0;
    const uint8_t flags = Data[0], readCount = Data[1];
    TBaseVirtualTree plain;
    TCustomVirtualStringTree strings;
    TBaseVirtualTree& tree = (flags & 1) ? strings : plain;
    tree.SetOptions(tree.Options() | toSaveCaptions | ((flags & 2) ? TVTOptions(toMultiSelect) : TVTOptions(0)));
    tree.OnLoadNode = [&](TBaseVirtualTree*, PVirtualNode, TStream& s) {
        uint8_t buf[256];
        s.Read(buf, readCount);
    };
    tree.SetRootNodeCount(3);
    TMemoryStream stream;
    stream.WriteBuffer(Data + 2, int64_t(Size - 2));
    stream.SetPosition(0);
    try {
        if (flags & 4)
            tree.AddFromStream(stream, tree.GetFirstNoInit()->NextSibling);
        else
            tree.LoadFromStream(stream);
    } catch (const Exception&) {
        // Every refusal is an exception of the library; the tree must stay
        // consistent either way.
    }
    const std::string fault = CheckTreeInvariants(tree);
    if (!fault.empty()) {
        std::fprintf(stderr, "invariant broken after load: %s\n", fault.c_str());
        std::abort();
    }
    tree.GetNodeAt(0, 40);
    TMemoryStream out;
    tree.SaveToStream(out);
    tree.Clear();
    return 0;
}
