#pragma once

#include "quillcast-core/Object.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What classifiers report, whatever they are made of.
class Classifier
{
public:
    /// The score of one output (class) of a classifier.
    ///
    /// Text form: "name=value", without line end. Reading skips blanks (0x20) before the name, takes all up
    /// to the first "=" as the name, and a number in the stream's formatting, nan or inf of either sign as
    /// the value. It sets the fail flag for an empty name, a missing "=" and anything else as a value, which
    /// is 0 then.
    class SingleOutputResult
        : public virtual Object
        , public virtual OutputStreamable
        , public virtual InputStreamable
    {
    public:
        SingleOutputResult() = default;
        /// A null name stands for none, as in a default-constructed entry.
        SingleOutputResult(const char* in_name, double in_dValue);

        std::ostream& write(std::ostream& out_stream) const override;
        std::istream& read(std::istream& in_stream) override;

        std::string m_strName = "???";
        double m_dValue = 0.0;
    };

    /// The decision of a classifier: the scores of its outputs in a fixed order. Names need not be unique.
    ///
    /// Text form: one entry a line, in order; doc/formats.md has it. Values that are nan count as smaller
    /// than all numbers.
    class Result
        : public virtual Object
        , public virtual OutputStreamable
        , public virtual InputStreamable
    {
    public:
        /// Appends an entry; always true.
        bool addEntry(const char* in_name, double in_dValue);

        /// The first entry of exactly that name; end() when there is none.
        SingleOutputResult* find(const char* in_name);
        const SingleOutputResult* find(const char* in_name) const;
        /// The entry with the largest value, the first of equals; end() when there are no entries.
        const SingleOutputResult* getMaxResult() const;

        /// Orders the entries by value; the order of equals is unspecified. Always true.
        bool sort(bool in_bDescending);

        /// Sets all values to 0 and keeps the entries.
        void reset();
        void clear() { m_vEntries.clear(); }
        /// New entries are default-constructed.
        void resize(std::size_t in_uiSize) { m_vEntries.resize(in_uiSize); }

        std::size_t size() const { return m_vEntries.size(); }
        /// Null, as end(), in a result that has never held an entry.
        SingleOutputResult* begin() { return m_vEntries.data(); }
        SingleOutputResult* end() { return m_vEntries.data() + m_vEntries.size(); }
        const SingleOutputResult* begin() const { return m_vEntries.data(); }
        const SingleOutputResult* end() const { return m_vEntries.data() + m_vEntries.size(); }

        std::ostream& write(std::ostream& out_stream) const override;
        /// Replaces the entries by those of all lines that are left in the stream, whose fail flag stays
        /// clear then. A line that is no entry sets it and ends the result.
        std::istream& read(std::istream& in_stream) override;

    private:
        std::vector<SingleOutputResult> m_vEntries;
    };
};

} // namespace Vexalor::MachineLearning
