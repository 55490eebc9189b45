#pragma once

#include "quillcast-core/Fallible.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-math/DoubleVector.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Measures how far a tested output o is from the desired target d of one pattern. Sums run over the elements
/// of o in order, d is read at the same index: d must be at least as long as o, otherwise an assertion fails
/// and the result is nan.
class ErrorFunction : public virtual Object
{
public:
    enum ErrorFunctionType
    {
        LEAST_SQUARE = 0,
        MEAN_SQUARE = 1,
        SUM_SQUARE = 2,
        CROSS_ENTROPY = 3,
        MULTIPLE_CROSS_ENTROPY = 4,
        CLASSIFICATION = 5
    };

    /// The error of one pattern.
    virtual double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) = 0;
    /// The display name, such as "mean-square-error".
    virtual const char* getErrFuncName() const = 0;

    /// The type of a keyword ("mean_square" or "mse", in any letter case); unset when it is none. Display
    /// names are no keywords.
    static Fallible<ErrorFunctionType> parseErrorFuncType(const char* in_keyword);
    /// The enumerator's name, such as "MEAN_SQUARE".
    static const char* getErrorFuncTypeString(ErrorFunctionType in_type);
    /// A new function of that type; null for a value that is no enumerator.
    static CountedObjPtr<ErrorFunction> newErrorFunction(ErrorFunctionType in_type);
    /// A new function with that display name; null when there is none.
    static CountedObjPtr<ErrorFunction> newErrorFunctionOfName(const std::string& in_strName);
};

/// Mean square error: sum of (d_i - o_i)^2 divided by the size of d (nan when d is empty).
class MSEErrorFunction final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "mean-square-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;
};

/// Least square error: half the sum of (d_i - o_i)^2.
class LSEErrorFunction final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "least-square-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;
};

/// Sum of (d_i - o_i)^2.
class SSEErrorFunction final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "sum-square-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;
};

/// Cross-entropy of independent outputs: minus the sum of d_i ln(o_i) + (1 - d_i) ln(1 - o_i), with arguments
/// of the logarithm below 1e-6 replaced by 1e-6 (C. M. Bishop, Neural Networks for Pattern Recognition, 1995,
/// eq. 6.120).
class CEErrorFunction final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "cross-entropy-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;
};

/// Cross-entropy of exclusive classes: minus the sum, over the d_i above 0, of d_i ln(o_i), with the same
/// replacement (Bishop, eq. 6.145).
class MCEErrorFunction final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "multiple-cross-entropy-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;
};

/// Counts patterns whose class is not recognised. The desired class is the index of the one element of d that
/// equals 1.0, the tested class the index of the first maximum of o. In a two-class problem class 0 is the
/// positive one.
class ClassificationError final : public ErrorFunction
{
public:
    static const char* sGetErrFuncName() { return "classification-error"; }
    const char* getErrFuncName() const override { return sGetErrFuncName(); }

    /// 1.0 when isInError returns true, otherwise 0.0.
    double operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested) override;

    /// Classifies one pattern and updates the counters. Despite its name true means that the pattern was
    /// recognised (or belongs to no class, which moves no counter); false that it was not, or that an
    /// assertion failed: a second 1.0 in d, an empty o, an o of another size than earlier ones, a desired
    /// class beyond the end of o.
    bool isInError(const DoubleVector& in_vDesired, const DoubleVector& in_vTested);

    /// Zeroes all counters, keeping the number of classes; true.
    bool reset();
    /// Adds the counters of other patterns. False, with nothing changed, when those are of another number of
    /// classes.
    bool merge(const ClassificationError& in_other);
    /// All counters, as ByteWriter and ByteReader take them.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiNumError, io_self.m_uiNumClassified, io_self.m_vNumOfEachClass,
                 io_self.m_uiNumFalsePositive, io_self.m_uiNumFalseNegative);
    }

    /// Patterns whose class was not recognised.
    std::uint64_t getNumError() const { return m_uiNumError; }
    /// Patterns that belong to a class.
    std::uint64_t getNumClassified() const { return m_uiNumClassified; }
    /// Patterns of each class; empty until the first one.
    const std::vector<std::uint64_t>& getNumOfEachClass() const { return m_vNumOfEachClass; }
    /// Two classes: desired class 1, tested class 0.
    std::uint64_t getNumFalsePositive() const { return m_uiNumFalsePositive; }
    /// Two classes: desired class 0, tested class 1.
    std::uint64_t getNumFalseNegative() const { return m_uiNumFalseNegative; }

private:
    void countFalseResult(const DoubleVector& in_vDesired, std::size_t in_uiTestedClass);

    std::uint64_t m_uiNumError = 0;
    std::uint64_t m_uiNumClassified = 0;
    std::vector<std::uint64_t> m_vNumOfEachClass;
    std::uint64_t m_uiNumFalsePositive = 0;
    std::uint64_t m_uiNumFalseNegative = 0;
};

} // namespace Vexalor::MachineLearning
