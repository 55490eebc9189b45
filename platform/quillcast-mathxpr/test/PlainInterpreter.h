#pragma once

#include "quillcast-math/DoubleVector.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr::Testing
{

/// An expression as a tree.
struct Tree
{
    enum class Kind
    {
        NUMBER,
        NAME,     ///< m_strText
        PREVIOUS, ///< m_strText; initial value
        CHOICE,
        JOIN,
        INDEX,
        SLICE,
        OPERATOR, ///< m_strText; one or two arguments
        CALL      ///< m_strText
    };

    Kind m_kind = Kind::NUMBER;
    double m_dNumber = 0.0;
    std::string m_strText; ///< a name is the full one
    std::vector<Tree> m_vArguments;
};

struct PlainDefinition
{
    std::string m_strScript;
    std::string m_strName;
    std::size_t m_uiLine;
    Tree m_tree;

    std::string fullName() const { return m_strScript + "." + m_strName; }
};

/// Why something has no value: where, and a word of the message that is expected.
struct Failure
{
    std::string m_strPlace;
    std::string m_strWord;

    friend auto operator<=>(const Failure&, const Failure&) = default;
};
using Failures = std::set<Failure>;

/// doc/expressions.md, word by word: walks trees, remembers nothing that it could find again, and decides
/// nothing before it must. Where several things fail it names them all.
class PlainInterpreter
{
public:
    PlainInterpreter(const std::vector<PlainDefinition>& in_vDefinitions,
                     std::map<std::string, double> in_constants);

    void lookUp(const std::string& in_strName);
    void assign(const std::string& in_strInput, const std::vector<double>& in_vValue);
    void preset(const std::string& in_strInput, const std::vector<double>& in_vValue);
    void reset();
    /// The value, or why there is none.
    std::optional<std::vector<double>> evaluate(const std::string& in_strName, Failures& out_failures);

private:
    using Values = std::vector<double>;
    using Names = std::set<std::string>;

    /// What holds of a value whatever the inputs are.
    struct Shape
    {
        std::size_t m_uiLength = 0;
        bool m_bKnown = false;
        Failures m_failures = {};
    };

    const PlainDefinition* find(const std::string& in_strName) const;
    Names usedBy(const std::string& in_strName, bool in_bOnlyBefore) const;
    Names reachedFrom(const std::string& in_strName) const;
    Names componentOf(const std::string& in_strName) const;
    void findLengths();
    void settle(const Names& in_component);
    void dropStates();
    void advance();

    Shape shapeOfName(const std::string& in_strName);
    Shape shapeOf(const Tree& in_tree);
    Shape shapeOfPrevious(const Tree& in_tree, const Shape& in_initial);
    Shape shapeOfChoice(const Tree& in_tree);
    Shape shapeOfCall(const Tree& in_tree, const std::vector<Shape>& in_vShapes);
    bool isWhole(const Tree& in_tree, double in_dMost, double& out_dNumber);
    Shape fail(const std::string& in_strWord) const;

    Values valueOfName(const std::string& in_strName);
    Values valueOf(const Tree& in_tree);
    Values valueOfPart(const Tree& in_tree, const std::vector<Values>& in_vArguments);
    Values valueOfCall(const std::string& in_strName, const std::vector<Values>& in_vArguments,
                       std::size_t in_uiLength);

    std::vector<PlainDefinition> m_vDefinitions;
    std::map<std::string, double> m_constants;
    std::map<std::string, Values> m_inputs;
    std::set<std::string> m_assigned; ///< inputs that have had their values in this window
    std::map<std::string, Values> m_states;
    Names m_lookedUp;

    // Found anew for each question.
    std::map<std::string, Shape> m_shapes;
    std::map<std::string, std::size_t> m_tried; ///< lengths of states that depend on themselves
    Names m_refused;
    Names m_open; ///< names whose lengths are being tried
    std::map<std::string, Values> m_values;
    std::vector<std::string> m_vPlaces; ///< of the definitions that are being looked at
};

} // namespace Vexalor::Math::Xpr::Testing
