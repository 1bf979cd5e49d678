// The applet's own GenApi descriptions loaded by an independent GenICam
// implementation (libaravis-0.8): every described parameter of a port must be
// found in the node map with the range, increment, access, description and
// enumeration entries of the port's registry record, and the categories with
// their features. Documents come from the export Fg_getParameterInfoXML of
// boards opened with the applet, before and after handlers rewrote records.
#include <arv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "applet_xml_support.h"
#include "board_fixture.h"

namespace {

using orvtest::Board;

const uint32_t kAsyncTrigger = 2;  // FG_LINETRIGGERMODE
const uint32_t kSimLineRate = 1;   // FG_CAMERASIMULATOR_SELECT_MODE
const uint32_t kLutCustom = 0;     // FG_LUT_TYPE
const uint32_t kShaftEncoderOn = 1;

// A node map built from a document; released at the end of the scope.
class NodeMap {
public:
    explicit NodeMap(const std::string& xml) : gc_(arv_gc_new(nullptr, xml.data(), xml.size())) {}
    ~NodeMap() {
        if (gc_) g_object_unref(gc_);
    }
    NodeMap(const NodeMap&) = delete;
    NodeMap& operator=(const NodeMap&) = delete;
    ArvGc* gc() const { return gc_; }
    ArvGcNode* node(const std::string& name) const { return arv_gc_get_node(gc_, name.c_str()); }

private:
    ArvGc* gc_;
};

// Runs a getter, failing the test with its GError.
template <class T, class Node>
T value(T (*get)(Node*, GError**), Node* node, const char* what)
{
    GError* error = nullptr;
    const T v = get(node, &error);
    if (error) {
        ADD_FAILURE() << what << ": " << error->message;
        g_clear_error(&error);
    }
    return v;
}

const char* accessName(ArvGcAccessMode mode)
{
    switch (mode) {
    case ARV_GC_ACCESS_MODE_RO: return "RO";
    case ARV_GC_ACCESS_MODE_WO: return "WO";
    case ARV_GC_ACCESS_MODE_RW: return "RW";
    default: return "";
    }
}

void expectRegister(const NodeMap& map, const std::string& name, const RegisterInfo& r, guint64 length)
{
    ArvGcNode* node = map.node(name);
    ASSERT_NE(nullptr, node) << "register " << name;
    ASSERT_TRUE(ARV_IS_GC_REGISTER(node)) << name;
    EXPECT_EQ(static_cast<guint64>(r.id),
              value(arv_gc_register_get_address, ARV_GC_REGISTER(node), "register address"));
    EXPECT_EQ(length, value(arv_gc_register_get_length, ARV_GC_REGISTER(node), "register length"));
    EXPECT_STREQ(orvxml::accessModeOf(r.accessFlags),
                 accessName(arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(node))));
}

// Every described record of the port and the category tree, in the node map
// built from the port's current document.
void expectNodeMapOfRecords(Fg_Struct* fg, int port)
{
    SCOPED_TRACE("port " + std::to_string(port));
    const std::string xml = orvxml::documentOf(fg, port);
    ASSERT_FALSE(xml.empty());
    NodeMap map(xml);
    ASSERT_NE(nullptr, map.gc()) << "the node map could not be built";

    const std::vector<orvxml::DescribedRecord> records = orvxml::portParameters(fg, port);
    EXPECT_EQ(88u, records.size());
    for (const orvxml::DescribedRecord& d : records) {
        const RegisterInfo& r = *d.record;
        const std::string name = r.parameterName;
        SCOPED_TRACE(name);
        ArvGcNode* node = map.node(name);
        ASSERT_NE(nullptr, node) << "not in the node map";
        const char* description = arv_gc_feature_node_get_description(ARV_GC_FEATURE_NODE(node));
        EXPECT_STREQ(r.name, description ? description : "");

        switch (r.format) {
        case REG_FORMAT_UINT: {
            ASSERT_TRUE(ARV_IS_GC_INTEGER(node));
            ArvGcInteger* i = ARV_GC_INTEGER(node);
            EXPECT_EQ(static_cast<gint64>(r.u.uiReg.from), value(arv_gc_integer_get_min, i, "Min"));
            EXPECT_EQ(static_cast<gint64>(r.u.uiReg.to), value(arv_gc_integer_get_max, i, "Max"));
            // Without an increment element a GenICam integer steps by 1.
            EXPECT_EQ(r.u.uiReg.steps != 0 ? static_cast<gint64>(r.u.uiReg.steps) : 1,
                      value(arv_gc_integer_get_inc, i, "Inc"));
            expectRegister(map, name + "_Reg", r, 4);
            break;
        }
        case REG_FORMAT_INT: {
            ASSERT_TRUE(ARV_IS_GC_INTEGER(node));
            ArvGcInteger* i = ARV_GC_INTEGER(node);
            EXPECT_EQ(r.u.iReg.from, value(arv_gc_integer_get_min, i, "Min"));
            EXPECT_EQ(r.u.iReg.to, value(arv_gc_integer_get_max, i, "Max"));
            EXPECT_EQ(r.u.iReg.steps != 0 ? r.u.iReg.steps : 1, value(arv_gc_integer_get_inc, i, "Inc"));
            expectRegister(map, name + "_Reg", r, 4);
            break;
        }
        case REG_FORMAT_DOUBLE: {
            ASSERT_TRUE(ARV_IS_GC_FLOAT(node));
            ArvGcFloat* f = ARV_GC_FLOAT(node);
            // The document states doubles with 12 significant digits.
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.from), value(arv_gc_float_get_min, f, "Min"));
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.to), value(arv_gc_float_get_max, f, "Max"));
            expectRegister(map, name + "_Reg", r, 8);
            break;
        }
        case REG_FORMAT_ENUM: {
            ASSERT_TRUE(ARV_IS_GC_ENUMERATION(node));
            std::vector<std::pair<long long, std::string>> got;
            for (const GSList* it = arv_gc_enumeration_get_entries(ARV_GC_ENUMERATION(node)); it; it = it->next) {
                ASSERT_TRUE(ARV_IS_GC_ENUM_ENTRY(it->data));
                const char* entry = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(it->data));
                got.push_back(std::make_pair(
                    static_cast<long long>(value(arv_gc_enum_entry_get_value, ARV_GC_ENUM_ENTRY(it->data), "entry")),
                    std::string(entry ? entry : "")));
            }
            std::sort(got.begin(), got.end());  // the node map keeps an order of its own
            EXPECT_EQ(orvxml::describedEntries(r), got);
            expectRegister(map, name + "_Reg", r, 4);
            break;
        }
        case REG_FORMAT_STRING:
            ASSERT_TRUE(ARV_IS_GC_STRING(node));
            EXPECT_EQ(4096, value(arv_gc_string_get_max_length, ARV_GC_STRING(node), "maximum length"));
            expectRegister(map, name, r, 4096);
            break;
        default:
            ADD_FAILURE() << "record of kind " << r.format << " described";
        }
    }
    for (const std::string& skipped : orvxml::undescribedParameters())
        EXPECT_EQ(nullptr, map.node(skipped)) << skipped;

    // The categories, in order, each with its features in order.
    ArvGcNode* root = map.node("Root");
    ASSERT_NE(nullptr, root);
    ASSERT_TRUE(ARV_IS_GC_CATEGORY(root));
    std::vector<std::string> rootFeatures, expectedRoot;
    for (const GSList* it = arv_gc_category_get_features(ARV_GC_CATEGORY(root)); it; it = it->next)
        rootFeatures.push_back(static_cast<const char*>(it->data));
    for (const orvxml::CategoryFeatures& c : orvxml::catalogueCategories()) {
        expectedRoot.push_back(c.category);
        ArvGcNode* category = map.node(c.category);
        ASSERT_NE(nullptr, category) << c.category;
        ASSERT_TRUE(ARV_IS_GC_CATEGORY(category)) << c.category;
        std::vector<std::string> got, want(c.features.begin(), c.features.end());
        for (const GSList* it = arv_gc_category_get_features(ARV_GC_CATEGORY(category)); it; it = it->next)
            got.push_back(static_cast<const char*>(it->data));
        EXPECT_EQ(want, got) << c.category;
    }
    EXPECT_EQ(expectedRoot, rootFeatures);
}

TEST(AppletNodeMap, DocumentsOfABoardWithAndWithoutDefaults)
{
    for (int flags : {0, 1}) {
        SCOPED_TRACE("opened with flags " + std::to_string(flags));
        Board b(flags);
        ASSERT_TRUE(b.ok());
        for (int port = 0; port < 2; ++port) expectNodeMapOfRecords(b.fg(), port);
    }
}

TEST(AppletNodeMap, DocumentsAfterHandlersRewroteRecords)
{
    Board b;
    ASSERT_TRUE(b.ok());
    ASSERT_EQ(0, b.set(FG_WIDTH, 2048, 1));
    ASSERT_EQ(0, b.set(FG_XOFFSET, 512, 0));
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, kAsyncTrigger, 0));
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, kShaftEncoderOn, 0));
    ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 333.336, 1));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, kSimLineRate, 1));
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kLutCustom, 1));

    RegisterInfo* xoffset = b.record(1, FG_XOFFSET);
    ASSERT_NE(nullptr, xoffset);
    EXPECT_EQ(14336u, xoffset->u.uiReg.to);
    for (int port = 0; port < 2; ++port) expectNodeMapOfRecords(b.fg(), port);

    // The node map sees the narrowed bound and the changed access.
    NodeMap map(orvxml::documentOf(b.fg(), 1));
    ASSERT_NE(nullptr, map.gc());
    ArvGcNode* node = map.node("FG_XOFFSET");
    ASSERT_TRUE(node && ARV_IS_GC_INTEGER(node));
    EXPECT_EQ(14336, value(arv_gc_integer_get_max, ARV_GC_INTEGER(node), "Max"));
    node = map.node("FG_PROCESSING_GAIN_Reg");
    ASSERT_TRUE(node && ARV_IS_GC_FEATURE_NODE(node));
    EXPECT_EQ(ARV_GC_ACCESS_MODE_RO, arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(node)));
}

}  // namespace
