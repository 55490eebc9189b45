#include "quillcast-core/Handle.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/MemAccount.h"
#include "quillcast-core/Object.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace Vexalor;

namespace
{

int g_iAlive = 0;

struct Counted : virtual Object
{
    Counted() { ++g_iAlive; }
    Counted(const Counted& in_other)
        : Object(in_other)
        , m_iValue(in_other.m_iValue)
    {
        ++g_iAlive;
    }
    ~Counted() override { --g_iAlive; }
    int m_iValue = 0;
};

struct CountedResettable
    : Counted
    , virtual Resettable
    , virtual Cloneable
{
    bool reset() override { return true; }
    CountedResettable* clone() const override { return new CountedResettable(*this); }
};

struct Accounted : virtual Object
{
    QC_MEM_ACCOUNT("Accounted");
    double m_dValue = 0;
};

} // namespace

template <class Count>
class HandleOf : public testing::Test
{
};
using Counts = testing::Types<ReferenceCount, TSReferenceCount>;
TYPED_TEST_SUITE(HandleOf, Counts);

TYPED_TEST(HandleOf, LastShareDeletesWhateverItsType)
{
    g_iAlive = 0;
    Handle<Resettable, TypeParam> hResettable;
    {
        const Handle<CountedResettable, TypeParam> hWhole(new CountedResettable);
        const Handle<Counted, TypeParam> hBase = hWhole;
        hResettable = hBase.template dynamicCast<Resettable>();
        EXPECT_EQ(hWhole.getCount(), 3u);
    }
    EXPECT_EQ(hResettable.getCount(), 1u);
    EXPECT_EQ(g_iAlive, 1);
    hResettable = Handle<Resettable, TypeParam>();
    EXPECT_EQ(g_iAlive, 0);
}

TYPED_TEST(HandleOf, NullAndFailedCastShareNothing)
{
    const Handle<Counted, TypeParam> hNull(nullptr);
    EXPECT_TRUE(hNull.isNull());
    EXPECT_EQ(hNull.getCount(), 0u);
    EXPECT_TRUE(hNull.template dynamicCast<Resettable>().isNull());

    const Handle<Counted, TypeParam> hPlain(new Counted);
    EXPECT_TRUE(hPlain.template dynamicCast<Resettable>().isNull());
    EXPECT_EQ(hPlain.getCount(), 1u);
}

TYPED_TEST(HandleOf, SelfAssignmentAndMoveKeepTheObject)
{
    Handle<Counted, TypeParam> hFirst(new Counted);
    const Handle<Counted, TypeParam>& hAlias = hFirst;
    hFirst = hAlias;
    EXPECT_EQ(hFirst.getCount(), 1u);
    const Handle<Counted, TypeParam> hSecond = std::move(hFirst);
    EXPECT_TRUE(hFirst.isNull());
    EXPECT_EQ(hSecond.getCount(), 1u);
}

TYPED_TEST(HandleOf, CountIsSafeBetweenThreads)
{
    g_iAlive = 0;
    {
        const Handle<Counted, TypeParam> hShared(new Counted);
        std::vector<std::thread> vThreads;
        for (int i = 0; i < 4; ++i)
            vThreads.emplace_back(
                [&]
                {
                    for (int j = 0; j < 2000; ++j)
                        const Handle<Counted, TypeParam> hCopy = hShared;
                });
        for (std::thread& thread : vThreads)
            thread.join();
        EXPECT_EQ(hShared.getCount(), 1u);
    }
    EXPECT_EQ(g_iAlive, 0);
}

TEST(CloneableObjPtrTest, CopiesOwnClones)
{
    g_iAlive = 0;
    {
        CloneableObjPtr<CountedResettable> pFirst(new CountedResettable);
        pFirst->m_iValue = 7;
        CloneableObjPtr<CountedResettable> pSecond = pFirst;
        pFirst->m_iValue = 8;
        EXPECT_EQ(pSecond->m_iValue, 7);
        pSecond = CloneableObjPtr<CountedResettable>();
        EXPECT_TRUE(CloneableObjPtr<CountedResettable>(pSecond).isNull());
    }
    EXPECT_EQ(g_iAlive, 0);
}

TEST(MemAccountTest, CountsWhatLives)
{
    const MemAccount& account = MemAccount::get("Accounted");
    EXPECT_STREQ(Accounted::getMemAccountName(), "Accounted");
    {
        const CountedObjPtr<Accounted> hFirst(new Accounted);
        const CountedObjPtr<Object> hSecond(new Accounted);
        EXPECT_EQ(account.getBlocks(), 2);
        EXPECT_EQ(account.getBytes(), static_cast<std::int64_t>(2 * sizeof(Accounted)));
    }
    EXPECT_EQ(account.getBlocks(), 0);
    EXPECT_EQ(account.getBytes(), 0);
}
