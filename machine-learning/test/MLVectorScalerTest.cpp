#include "MLVectorScaler.h"
#include "test-support/LogCapture.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

VectorScaler::Config makeConfig()
{
    VectorScaler::Config config;
    config.m_vInputSlope = {2, -0.5};
    config.m_vInputYIntercept = {1, 0.25};
    config.m_vTargetSlope = {10};
    config.m_vTargetYIntercept = {-3};
    return config;
}

} // namespace

TEST(VectorScalerTest, ScalesEachComponentByItsOwnParameters)
{
    VectorScaler scaler;
    DoubleVector vInput{3, 4};
    EXPECT_TRUE(scaler.scaleInput(vInput)) << "no parameters";
    EXPECT_EQ(vInput, (DoubleVector{3, 4}));

    EXPECT_TRUE(scaler.configure(makeConfig()));
    EXPECT_TRUE(scaler.scaleInput(vInput));
    EXPECT_EQ(vInput, (DoubleVector{3 * 2 + 1, 4 * -0.5 + 0.25}));
    DoubleVector vTarget{0.5};
    EXPECT_TRUE(scaler.scaleTarget(vTarget));
    EXPECT_EQ(vTarget, DoubleVector{0.5 * 10 - 3});

    // Rounded after the product: 0.1 x 10 is 1 exactly then, and 5.55e-17 more when it is not.
    VectorScaler::Config config;
    config.m_vInputSlope = {10};
    config.m_vInputYIntercept = {-1};
    scaler.configure(config);
    DoubleVector vTenth{0.1};
    scaler.scaleInput(vTenth);
    EXPECT_EQ(vTenth[0], 0.0);

    VectorScaler copy(scaler);
    EXPECT_EQ(copy.getConfig(), config);
    copy.configure(makeConfig());
    scaler = copy;
    EXPECT_EQ(scaler.getConfig(), makeConfig());
}

TEST(VectorScalerTest, VectorsOfOtherSizesAreScaledAsFarAsParametersGo)
{
    VectorScaler scaler;
    VectorScaler::Config config = makeConfig();
    config.m_vTargetYIntercept.clear();
    scaler.configure(config);
    Testing::LogCapture log("quillcast.ml.VectorScaler", LogLevel::WARN);
    DoubleVector vLong{1, 1, 1};
    EXPECT_TRUE(scaler.scaleInput(vLong));
    EXPECT_EQ(vLong, (DoubleVector{3, -0.25, 1}));
    DoubleVector vShort{1};
    EXPECT_TRUE(scaler.scaleInput(vShort));
    EXPECT_EQ(vShort, DoubleVector{3});
    DoubleVector vTarget{7};
    EXPECT_TRUE(scaler.scaleTarget(vTarget));
    EXPECT_EQ(vTarget, DoubleVector{7}) << "a slope without intercept is no parameter";
    EXPECT_EQ(log.text(), "WARN A pattern has 3 inputs, its scaling is for 2: only the first 2 are scaled\n");
}

TEST(VectorScalerTest, ConfigHasATextAndIsComparedExactly)
{
    std::ostringstream text;
    text << makeConfig();
    const std::string strText = "VectorScaler config: \nm_vInputSlope = [2 -0.5]m_vInputYIntercept = [1 0.25]"
                                "m_vTargetSlope = [10]m_vTargetYIntercept = [-3]";
    EXPECT_EQ(text.str(), strText);
    const Testing::LogCapture log("quillcast.ml.VectorScaler", LogLevel::DEBUGGING);
    VectorScaler().configure(makeConfig());
    EXPECT_TRUE(log.has("DEBUG VectorScaler config: " + strText)) << log.text();

    DoubleVector VectorScaler::Config::*const VECTORS[] = {
        &VectorScaler::Config::m_vInputSlope, &VectorScaler::Config::m_vInputYIntercept,
        &VectorScaler::Config::m_vTargetSlope, &VectorScaler::Config::m_vTargetYIntercept};
    for (const auto pVector : VECTORS)
    {
        VectorScaler::Config other = makeConfig();
        EXPECT_TRUE(other == makeConfig());
        (other.*pVector)[0] = std::nextafter((other.*pVector)[0], 100);
        EXPECT_TRUE(other != makeConfig());
        (other.*pVector)[0] = NAN;
        EXPECT_TRUE(other == VectorScaler::Config(other)) << "nan equals nan";
    }
}
