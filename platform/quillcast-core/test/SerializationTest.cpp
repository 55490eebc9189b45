#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/MemAccount.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "test-support/StockXmlArchive.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <sstream>

namespace Vexalor::Testing
{

/// An abstract base, a leaf with a field of each kind and a node that owns others.
class Part : public virtual Object
{
public:
    Part() { ++s_iAlive; }
    Part(const Part&) { ++s_iAlive; }
    Part& operator=(const Part&) = default;
    ~Part() override { --s_iAlive; }
    virtual Part* clone() const = 0;

    static inline int s_iAlive = 0;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive&, unsigned int)
    {
    }
};

class Leaf : public virtual Part
{
public:
    QC_MEM_ACCOUNT("Testing::Leaf");
    Leaf* clone() const override { return new Leaf(*this); }

    bool m_bFlag = true;
    char m_cByte = 'x';
    int m_iNumber = -3;
    unsigned long m_uiNumber = 7;
    float m_fNumber = 0.1F;
    double m_dNumber = 0.1;
    std::string m_strText = "a<b>&'\"";
    std::vector<double> m_vNumbers{1.0, -2.5};
    std::vector<std::string> m_vTexts{"", " two "};

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

class Node : public virtual Part
{
public:
    Node* clone() const override { return new Node(*this); }

    CountedObjPtr<Part> m_pFirst;
    CloneableObjPtr<Part> m_pSecond;
    std::vector<CountedObjPtr<Part>> m_vParts;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// Has a key, but is no Part.
class Stranger : public virtual Object
{
private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive&, unsigned int)
    {
    }
};

template <class Archive>
void Leaf::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "a leaf");
    serializeBase<Part>(io_archive, *this);
    QC_FIELD(m_bFlag);
    QC_FIELD(m_cByte);
    QC_FIELD(m_iNumber);
    QC_FIELD(m_uiNumber);
    QC_FIELD(m_fNumber);
    QC_FIELD(m_dNumber, "Hz", "a number");
    QC_FIELD(m_strText);
    QC_FIELD(m_vNumbers);
    QC_FIELD(m_vTexts);
}

template <class Archive>
void Node::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<Part>(io_archive, *this);
    QC_FIELD(m_pFirst);
    QC_FIELD(m_pSecond);
    QC_FIELD(m_vParts);
}

QC_ARCHIVES(Leaf);
QC_ARCHIVES(Node);

} // namespace Vexalor::Testing

BOOST_CLASS_EXPORT_KEY2(Vexalor::Testing::Part, "TestPart")
BOOST_CLASS_EXPORT_KEY2(Vexalor::Testing::Leaf, "TestLeaf")
BOOST_CLASS_EXPORT_KEY2(Vexalor::Testing::Node, "TestNode")
BOOST_CLASS_EXPORT_KEY2(Vexalor::Testing::Stranger, "TestStranger")
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::Testing::Leaf)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::Testing::Node)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::Testing::Stranger)

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

std::string save(const Part* in_pPart)
{
    std::ostringstream stream;
    XmlOutputArchive archive(stream);
    saveObject<Part>(archive.get(), "Root", in_pPart);
    EXPECT_TRUE(archive.finish());
    return stream.str();
}

std::unique_ptr<Part> load(const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    CheckedXmlInputArchive archive(stream);
    std::unique_ptr<Part> pPart = loadObject<Part>(archive.get(), "Root");
    archive.finish();
    return pPart;
}

/// The message of the refusal; empty when the text was read.
std::string refusal(const std::string& in_strText)
{
    try
    {
        load(in_strText);
    }
    catch (const ArchiveError& error)
    {
        return error.what();
    }
    return "";
}

std::string replaced(std::string in_strText, const std::string& in_strOld, const std::string& in_strNew)
{
    const std::size_t uiPosition = in_strText.find(in_strOld);
    EXPECT_NE(uiPosition, std::string::npos) << in_strOld;
    return in_strText.replace(uiPosition, in_strOld.size(), in_strNew);
}

Node makeNode()
{
    Node node;
    node.m_pFirst = CountedObjPtr<Part>(new Leaf);
    auto pInner = std::make_unique<Node>();
    pInner->m_vParts = {node.m_pFirst, CountedObjPtr<Part>()};
    node.m_pSecond = CloneableObjPtr<Part>(pInner.release());
    return node;
}

/// Element by element as the XML archives of the library write them, with the shortest digits. 0.1F is the
/// float nearest 0.1.
const char* const LEAF_TEXT = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes" ?>
<!DOCTYPE boost_serialization>
<boost_serialization signature="serialization::archive" version="18">
<Root class_id="0" class_name="TestLeaf" tracking_level="0" version="0">
	<TestPart class_id="1" tracking_level="0" version="0"></TestPart>
	<m_bFlag>1</m_bFlag>
	<m_cByte>120</m_cByte>
	<m_iNumber>-3</m_iNumber>
	<m_uiNumber>7</m_uiNumber>
	<m_fNumber>0.1</m_fNumber>
	<m_dNumber>0.1</m_dNumber>
	<m_strText>a&lt;b&gt;&amp;&apos;&quot;</m_strText>
	<m_vNumbers>
		<count>2</count>
		<item_version>0</item_version>
		<item>1</item>
		<item>-2.5</item>
	</m_vNumbers>
	<m_vTexts class_id="3" tracking_level="0" version="0">
		<count>2</count>
		<item_version>0</item_version>
		<item></item>
		<item> two </item>
	</m_vTexts>
</Root>
</boost_serialization>
)";

/// Writes a comma for the decimal point.
struct CommaPunct : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

} // namespace

TEST(SerializationTest, TextIsPinnedWhateverTheLocale)
{
    const Leaf leaf;
    EXPECT_EQ(save(&leaf), LEAF_TEXT);
    const std::locale earlier = std::locale::global(std::locale(std::locale::classic(), new CommaPunct));
    EXPECT_EQ(save(&leaf), LEAF_TEXT);
    EXPECT_EQ(save(load(LEAF_TEXT).get()), LEAF_TEXT);
    std::locale::global(earlier);
}

TEST(SerializationTest, ValuesSurvive)
{
    Leaf leaf;
    const double dInfinity = std::numeric_limits<double>::infinity();
    leaf.m_vNumbers = {0.1 + 0.2, 5e-324, 1.7976931348623157e308, -0.0, std::nan(""), dInfinity, -dInfinity};
    leaf.m_strText.clear();
    for (int iByte = 0; iByte < 256; ++iByte)
        leaf.m_strText += static_cast<char>(iByte);
    leaf.m_cByte = '\xff';
    leaf.m_uiNumber = std::numeric_limits<unsigned long>::max();

    const std::unique_ptr<Part> pLoaded = load(save(&leaf));
    const auto& loaded = dynamic_cast<const Leaf&>(*pLoaded);
    EXPECT_EQ(loaded.m_strText, leaf.m_strText);
    EXPECT_EQ(loaded.m_vTexts, leaf.m_vTexts);
    EXPECT_EQ(loaded.m_cByte, leaf.m_cByte);
    EXPECT_EQ(loaded.m_uiNumber, leaf.m_uiNumber);
    ASSERT_EQ(loaded.m_vNumbers.size(), 7U);
    EXPECT_TRUE(std::isnan(loaded.m_vNumbers[4]));
    EXPECT_TRUE(std::signbit(loaded.m_vNumbers[3]));
    EXPECT_EQ(save(&loaded), save(&leaf));
}

TEST(SerializationTest, HandlesOwnTreesAndNull)
{
    EXPECT_EQ(load(save(nullptr)), nullptr);
    {
        const Node node = makeNode();
        const std::unique_ptr<Part> pLoaded = load(save(&node));
        const auto& loaded = dynamic_cast<const Node&>(*pLoaded);
        EXPECT_FALSE(loaded.m_pFirst.dynamicCast<Leaf>().isNull());
        EXPECT_TRUE(loaded.m_vParts.empty());
        const auto& inner = dynamic_cast<const Node&>(*loaded.m_pSecond);
        ASSERT_EQ(inner.m_vParts.size(), 2U);
        EXPECT_TRUE(inner.m_vParts[1].isNull());
        EXPECT_TRUE(inner.m_pFirst.isNull());
        // What was shared is written, and read, twice.
        EXPECT_EQ(inner.m_vParts[0].getCount(), 1U);
    }
    EXPECT_EQ(Part::s_iAlive, 0);
    EXPECT_EQ(MemAccount::get("Testing::Leaf").getBlocks(), 0);
}

TEST(SerializationTest, LibraryReadsOursAndWeReadTheLibrarys)
{
    Node node = makeNode();
    node.m_pFirst.dynamicCast<Leaf>()->m_strText += "\t\n\x01";
    const std::string strOurs = save(&node);
    std::unique_ptr<Part> pPart;
    readStockXml(strOurs, [&](auto& io_archive) { pPart = loadObject<Part>(io_archive, "Root"); });
    EXPECT_EQ(save(pPart.get()), strOurs);

    const std::string strStock =
        writeStockXml([&](auto& io_archive) { saveObject<Part>(io_archive, "Root", pPart.get()); });
    EXPECT_EQ(save(load(strStock).get()), strOurs);
}

TEST(CheckedXmlInputArchiveTest, AMarkMayStandBeforeAndCommentsAfter)
{
    EXPECT_EQ(refusal("\xEF\xBB\xBF" + std::string(LEAF_TEXT)), "");
    EXPECT_EQ(refusal(std::string(LEAF_TEXT) + "\n<!-- one -->\n<!--\n</boost_serialization>-->\n"), "");
    EXPECT_EQ(refusal(std::string(LEAF_TEXT) + "<!-- one"), "line 26: text after the end of the archive");
    EXPECT_EQ(refusal(std::string(LEAF_TEXT) + "x"), "line 26: text after the end of the archive");
}

TEST(CheckedXmlInputArchiveTest, RefusesWithPlaceAndReason)
{
    struct Case
    {
        const char* m_old;
        const char* m_new;
        const char* m_message;
    };
    const Case cases[] = {
        {"<?xml", "<?yml", "line 1: the text does not begin like an archive of the serialization library"},
        {"::archive", "::archiv",
         "line 3: the text does not begin like an archive of the serialization library"},
        {"</Root>", "</Toor>", "line 25, element 'Root': the end tag is missing"},
        {"</boost_serialization>", "", "line 25: the end tag of the archive is missing"},
        {"<m_bFlag>1", "<m_bFlag>2", "line 6, element 'm_bFlag': '2' is not 0 or 1"},
        {"m_iNumber>-3", "m_iFoo>-3",
         "line 8, element 'Root': the start tag of element 'm_iNumber' is missing"},
        {">-3<", ">3.5<",
         "line 8, element 'm_iNumber': '3.5' is not a whole number in the range of the field"},
        {">7<", ">-7<", "line 9, element 'm_uiNumber': '-7' is not a whole number in the range of the field"},
        {">120<", ">300<", "line 7, element 'm_cByte': '300' is not a character"},
        {"m_dNumber>0.1", "m_dNumber>1e999",
         "line 11, element 'm_dNumber': '1e999' is not a number in the range of the field"},
        {"&lt;", "&lte;", "line 12, element 'm_strText': unknown entity in 'lte;b&gt;&amp;&apos;&quot;'"},
        {"<count>2", "<count>3000000000",
         "line 14, element 'count': the file is too short for 3000000000 items"},
        {"class_id=\"0\"", "class_id=\"1\"", "line 4, element 'Root': missing or impossible class_id"},
        {"class_id=\"0\"", "class_id=\"-2\"", "line 4, element 'Root': missing or impossible class_id"},
        {"class_id=\"0\"", "", "line 4, element 'Root': missing or impossible class_id"},
        {"TestLeaf", "TestTwig", "line 4, element 'Root': unknown class key 'TestTwig'"},
        {"TestLeaf", "TestPart",
         "line 4, element 'Root': an object of the abstract class 'TestPart' cannot be created"},
        {"TestLeaf", "TestStranger", "line 4, element 'Root': an object of another class than TestPart"},
        {"tracking_level=\"0\"", "tracking_level=\"1\" object_id=\"_5\"",
         "line 4, element 'Root': missing or impossible object_id: objects are not shared"},
        {"version=\"0\">\n\t<TestP", "version=\"1\">\n\t<TestP",
         "line 4, element 'Root': written by a newer version of the class"},
    };
    for (const Case& testCase : cases)
        EXPECT_EQ(refusal(replaced(LEAF_TEXT, testCase.m_old, testCase.m_new)), testCase.m_message);
    EXPECT_EQ(Part::s_iAlive, 0);
    EXPECT_EQ(MemAccount::get("Testing::Leaf").getBlocks(), 0);
}

TEST(CheckedXmlInputArchiveTest, ObjectsOfATreeAreRefusedWithoutLeak)
{
    const std::string strText = save(std::make_unique<Node>(makeNode()).get());
    for (std::size_t uiSize = 0; uiSize + 1 < strText.size(); ++uiSize)
        ASSERT_NE(refusal(strText.substr(0, uiSize)), "") << uiSize;
    EXPECT_NE(refusal(replaced(strText, "m_pSecond class_id_reference=\"0\"", "m_pSecond class_id=\"9\"")),
              "");
    EXPECT_NE(
        refusal(replaced(strText, "class_id_reference=\"2\"", "class_id=\"2\" class_name=\"TestNode\"")), "");
    // The second leaf named as if its class were new.
    EXPECT_NE(
        refusal(replaced(strText, "class_id_reference=\"2\"", "class_id=\"4\" class_name=\"TestLeaf\"")), "");
    EXPECT_EQ(Part::s_iAlive, 0);
}

TEST(CheckedXmlInputArchiveTest, DepthAndSizeAreLimited)
{
    CountedObjPtr<Part> pPart(new Node);
    for (int iDepth = 0; iDepth < 70; ++iDepth)
    {
        auto pOuter = std::make_unique<Node>();
        pOuter->m_pFirst = pPart;
        pPart = CountedObjPtr<Part>(pOuter.release());
    }
    EXPECT_NE(refusal(save(pPart.get())).find("element 'm_pFirst': too deeply nested"), std::string::npos);
    EXPECT_EQ(refusal(std::string(CheckedXmlInputArchive::MAX_SIZE + 1, ' ')),
              "the archive is larger than 67108864 bytes");
}

TEST(CheckedXmlInputArchiveTest, TellsClassKeys)
{
    std::istringstream stream(save(std::make_unique<Node>(makeNode()).get()));
    const CheckedXmlInputArchive archive(stream);
    EXPECT_EQ(archive.getClassKeys(), (std::vector<std::string>{"TestNode", "TestLeaf"}));
    EXPECT_EQ(getClassKeyState("TestLeaf"), ClassKeyState::CREATABLE);
    EXPECT_EQ(getClassKeyState("TestPart"), ClassKeyState::ABSTRACT);
    EXPECT_EQ(getClassKeyState(""), ClassKeyState::UNKNOWN);
}

TEST(DescribingArchiveTest, TellsWhatItHolds)
{
    DescribingArchive archive;
    const Leaf leaf;
    Node node;
    node.m_vParts = {CountedObjPtr<Part>(new Leaf)};
    archive.setObject("m_pSecond", [&](auto& io_archive) { saveObject<Part>(io_archive, nullptr, &leaf); });
    saveObject<Part>(archive.get(), "Root", &node);
    const auto [strText, root] = archive.finish();
    ASSERT_EQ(root.m_vElements.size(), 1u);
    std::string strTree;
    const std::function<void(const ArchiveElement&)> tell = [&](const ArchiveElement& in_element)
    {
        strTree += in_element.m_strName + '=' + in_element.m_strClass + in_element.m_strValue;
        if (in_element.m_kind == ArchiveElement::Kind::NONE)
            strTree += "none";
        strTree += in_element.m_vElements.empty() ? " " : "( ";
        for (const ArchiveElement& element : in_element.m_vElements)
            tell(element);
        strTree += in_element.m_vElements.empty() ? "" : ") ";
    };
    tell(root.m_vElements[0]);
    const std::string strLeaf =
        "TestLeaf( m_bFlag=1 m_cByte=120 m_iNumber=-3 m_uiNumber=7 m_fNumber=0.1 m_dNumber=0.1 "
        "m_strText=a<b>&'\" m_vNumbers=( item=1 item=-2.5 ) m_vTexts=( item= item= two  ) ) ";
    EXPECT_EQ(strTree,
              "Root=TestNode( m_pFirst=none m_pSecond=" + strLeaf + "m_vParts=( item=" + strLeaf + ") ) ");
    const ArchiveElement& second = root.m_vElements[0].m_vElements[1];
    EXPECT_EQ(second.m_strClassMeaning, "a leaf");
    const ArchiveElement& number = second.m_vElements[5];
    EXPECT_EQ(number.m_strUnit + number.m_strMeaning, "Hza number");
    EXPECT_EQ(second.m_vElements[6].m_strUnit, "");
    EXPECT_EQ(strText.substr(number.m_uiBegin, number.m_uiEnd - number.m_uiBegin), "0.1");
    // What was put in is part of the text.
    EXPECT_EQ(dynamic_cast<const Leaf&>(*dynamic_cast<const Node&>(*load(strText)).m_pSecond).m_iNumber, -3);
    EXPECT_TRUE(node.m_pSecond.isNull());
}

TEST(DescribingArchiveTest, DefaultObjectsAreMadeByKey)
{
    EXPECT_NE(dynamic_cast<Leaf*>(newDefaultObject("TestLeaf").get()), nullptr);
    EXPECT_EQ(Part::s_iAlive, 0);
    const ArchiveElement leaf = describeDefaultObject("TestLeaf");
    EXPECT_EQ(leaf.m_strClass, "TestLeaf");
    EXPECT_EQ(leaf.m_vElements.size(), 9u);
    for (const char* key : {"TestPart", "TestTwig", ""})
    {
        EXPECT_THROW(newDefaultObject(key), ArchiveError) << key;
        EXPECT_TRUE(describeDefaultObject(key).m_vElements.empty()) << key;
    }
}

TEST(XmlOutputArchiveTest, FailureOfTheStreamIsReported)
{
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    XmlOutputArchive archive(stream);
    saveObject<Part>(archive.get(), "Root", nullptr);
    EXPECT_FALSE(archive.finish());
}
