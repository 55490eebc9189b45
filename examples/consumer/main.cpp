#include "quillcast-core/Handle.h"

int main()
{
    const Vexalor::CountedObjPtr<int> hOne(new int(1));
    return hOne.getCount() == 1 ? 0 : 1;
}
