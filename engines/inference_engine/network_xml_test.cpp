#include "engines/inference_engine/NetworkXml.h"

#include <gmock/gmock.h>

using InferenceEngine::details::scanNetworkEnds;
using InferenceEngine::details::shortOutputName;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(NetworkXmlTest, EndsComeInTheOrderOfTheLayers) {
    const auto ends = scanNetworkEnds(
        "<?xml version=\"1.0\"?><net name=\"N\" version=\"10\"><layers>"
        "<layer id=\"0\" name=\"b\" type=\"Parameter\"><data/></layer>"
        "<layer id=\"1\" name=\"z\" type=\"Result\"/>"
        "<layer id=\"2\" name=\"a\" type=\"Parameter\"/>"
        "<layer id=\"3\" name=\"y\" type=\"Result\"></layer>"
        "</layers><edges/></net>");
    EXPECT_EQ(ends.name, "N");
    EXPECT_THAT(ends.inputs, ElementsAre("b", "a"));
    EXPECT_THAT(ends.outputs, ElementsAre("z", "y"));
}

TEST(NetworkXmlTest, EndsOfABodyDoNotCount) {
    const auto ends = scanNetworkEnds(
        "<net name=\"N\"><layers><layer name=\"if\" type=\"If\"><port_map><input external_port_id=\"1\"/></port_map>"
        "<body><layers><layer name=\"inner\" type=\"Parameter\"/><layer name=\"r\" type=\"Result\"/></layers></body>"
        "</layer><layer name=\"outer\" type=\"Result\"/></layers></net>");
    EXPECT_THAT(ends.inputs, IsEmpty());
    EXPECT_THAT(ends.outputs, ElementsAre("outer"));
}

TEST(NetworkXmlTest, CommentsQuotesAndEntitiesAreRead) {
    const auto ends = scanNetworkEnds(
        "<net version = '10'\n name = 'A&amp;B'><!-- <layers> > --><layers>"
        "<layer name=\"a>b\" type='Parameter'/><layer\ttype=\"Result\" rename=\"no\" name=\"c&lt;d\" "
        "/></layers></net>");
    EXPECT_EQ(ends.name, "A&B");
    EXPECT_THAT(ends.inputs, ElementsAre("a>b"));
    EXPECT_THAT(ends.outputs, ElementsAre("c<d"));
}

TEST(NetworkXmlTest, TextThatIsNoXmlHasNoEnds) {
    for (const char* text : {"", "<", "<!--", "no xml", "<net name=", "<net name=\"x", "<<<>>>", "</net></net>"}) {
        const auto ends = scanNetworkEnds(text);
        EXPECT_THAT(ends.inputs, IsEmpty()) << text;
        EXPECT_THAT(ends.outputs, IsEmpty()) << text;
    }
}

TEST(NetworkXmlTest, ShortNameLosesTheSink) {
    EXPECT_EQ(shortOutputName("output_mask/sink_port_0", "whatever"), "output_mask");
    EXPECT_EQ(shortOutputName("Result_12", "scores"), "scores");
    EXPECT_EQ(shortOutputName("Result_12", ""), "Result_12");
    EXPECT_EQ(shortOutputName("a/sink_port_1", ""), "a/sink_port_1");
}
