#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <random>
#include <set>

// Compares the walk over random screens, some of which are destroyed during the walk, with a slow
// walk over a plain description of the same screens.

namespace telvora {
namespace {

using Kind = UIViewController::Kind;
using ID = std::size_t;

// A screen as a record. Each link may lead to a destroyed screen.
struct Description {
    Kind kind = Kind::plain;
    std::optional<ID> presents;
    std::optional<ID> contains;
    bool isListed = false;
    bool adopts = false;
    std::optional<ID> delegatesTo;
    // Destroyed when this one is asked for its scene name, or for its delegate.
    std::optional<ID> diesWhenNamed;
    std::optional<ID> diesWhenDelegating;
};

struct World {
    std::vector<Description> screens;
    // Destroyed before the walk begins.
    std::set<ID> dead;
    std::optional<ID> root;
};

struct Found {
    std::optional<ID> screen;
    bool isAlive = false;

    bool operator==(const Found&) const = default;
};

// The slow walk: the rules, applied to records.
class SlowWalk {
public:
    explicit SlowWalk(const World& world)
        : m_world(world)
        , m_dead(world.dead)
    {
    }

    Found run()
    {
        std::optional<ID> current = alive(m_world.root);
        while (current) {
            current = delegated(*current);
            if (!current)
                return {};
            if (!m_walked.insert(*current).second)
                return { current, !m_dead.contains(*current) };
            const Description& screen = m_world.screens[*current];
            if (screen.diesWhenNamed)
                m_dead.insert(*screen.diesWhenNamed);
            if (screen.isListed)
                return { current, !m_dead.contains(*current) };
            if (const auto presented = alive(screen.presents))
                current = presented;
            else if (screen.kind != Kind::plain)
                current = alive(screen.contains);
            else
                return { current, !m_dead.contains(*current) };
        }
        return {};
    }

private:
    std::optional<ID> alive(std::optional<ID> link) const
    {
        return link && !m_dead.contains(*link) ? link : std::nullopt;
    }

    std::optional<ID> delegated(ID current)
    {
        for (int moves = 0; moves < 10 && m_world.screens[current].adopts; ++moves) {
            const Description& screen = m_world.screens[current];
            if (screen.diesWhenDelegating)
                m_dead.insert(*screen.diesWhenDelegating);
            const auto next = screen.delegatesTo;
            // The walk keeps its current screen alive.
            if (next == current)
                return current;
            if (!alive(next))
                return std::nullopt;
            current = *next;
        }
        return current;
    }

    const World& m_world;
    std::set<ID> m_dead;
    // The screens that the walk has visited.
    std::set<ID> m_walked;
};

// The same screens as the library sees them.
class Stage {
public:
    explicit Stage(const World& world)
    {
        for (ID id = 0; id < world.screens.size(); ++id) {
            const Description& description = world.screens[id];
            if (description.adopts)
                m_screens.push_back(std::make_shared<DelegatingScreen>(*this, id, description));
            else
                m_screens.push_back(std::make_shared<Screen>(*this, id, description));
        }
        m_references.assign(m_screens.begin(), m_screens.end());
        for (const ID id : world.dead)
            m_screens[id].reset();
        m_root = world.root;
    }

    Found walk()
    {
        const auto info = Window(*this).topViewController_monitorTracker();
        if (!info)
            return {};
        // The control block identifies the screen, also after its end.
        for (ID id = 0; id < m_references.size(); ++id) {
            if (!info->vc.owner_before(m_references[id])
                && !m_references[id].owner_before(info->vc))
                return { id, !info->vc.expired() };
        }
        ADD_FAILURE() << "an unknown screen";
        return {};
    }

private:
    class Screen : public UIViewController {
    public:
        Screen(Stage& stage, ID id, const Description& description)
            : m_stage(stage)
            , m_description(description)
            , m_id(id)
        {
        }

        std::string className() const override { return std::to_string(m_id); }

        std::string sceneName() const override
        {
            m_stage.release(m_description.diesWhenNamed);
            return m_description.isListed ? "App.TradeViewController" : className();
        }

        Kind kind() const override { return m_description.kind; }

        std::shared_ptr<UIViewController> presentedViewController() const override
        {
            return m_stage.find(m_description.presents);
        }

        std::shared_ptr<UIViewController> visibleViewController() const override
        {
            return kind() == Kind::navigation ? m_stage.find(m_description.contains) : nullptr;
        }

        std::shared_ptr<UIViewController> selectedViewController() const override
        {
            return kind() == Kind::tabBar ? m_stage.find(m_description.contains) : nullptr;
        }

    protected:
        Stage& m_stage;
        const Description m_description;
        const ID m_id;
    };

    class DelegatingScreen final : public Screen, public TrackerDataLifeCycleControllerDelegate {
    public:
        using Screen::Screen;

        ViewControllerInfo trackerViewControllerInfo() const override
        {
            m_stage.release(m_description.diesWhenDelegating);
            if (!m_description.delegatesTo)
                return {};
            return { m_stage.m_references[*m_description.delegatesTo], { { "a", "1" } } };
        }
    };

    class Window final : public UIWindow {
    public:
        explicit Window(const Stage& stage)
            : m_stage(stage)
        {
        }

        std::shared_ptr<UIViewController> rootViewController() const override
        {
            return m_stage.find(m_stage.m_root);
        }

    private:
        const Stage& m_stage;
    };

    std::shared_ptr<UIViewController> find(std::optional<ID> id) const
    {
        return id ? m_screens[*id] : nullptr;
    }

    void release(std::optional<ID> id)
    {
        if (id)
            m_screens[*id].reset();
    }

    std::vector<std::shared_ptr<UIViewController>> m_screens;
    std::vector<std::weak_ptr<UIViewController>> m_references;
    std::optional<ID> m_root;
};

class RandomWorld {
public:
    explicit RandomWorld(std::uint64_t seed)
        : m_random(seed)
    {
    }

    // With `upwards` every link leads to a later screen, so there is no ring.
    World make(bool upwards)
    {
        World world;
        const std::size_t count = 1 + m_random() % 24;
        const bool isChain = oneIn(4);
        for (ID id = 0; id < count; ++id) {
            Description screen;
            screen.kind = static_cast<Kind>(m_random() % 3);
            if (oneIn(3))
                screen.presents = link(id, count, upwards);
            if (!oneIn(5))
                screen.contains = link(id, count, upwards);
            screen.isListed = oneIn(20);
            screen.adopts = isChain ? !oneIn(20) : oneIn(4);
            if (isChain && id + 1 < count)
                screen.delegatesTo = id + 1;
            else if (!oneIn(8))
                screen.delegatesTo = oneIn(3) ? std::optional(id) : link(id, count, upwards);
            if (oneIn(8))
                screen.diesWhenNamed = m_random() % count;
            if (oneIn(8))
                screen.diesWhenDelegating = m_random() % count;
            world.screens.push_back(screen);
        }
        if (!oneIn(50))
            world.root = oneIn(2) ? 0 : m_random() % count;
        if (oneIn(4))
            world.dead.insert(m_random() % count);
        return world;
    }

private:
    bool oneIn(std::uint64_t bound) { return m_random() % bound == 0; }

    std::optional<ID> link(ID from, std::size_t count, bool upwards)
    {
        if (!upwards)
            return m_random() % count;
        if (from + 1 >= count)
            return std::nullopt;
        return from + 1 + m_random() % (count - from - 1);
    }

    std::mt19937_64 m_random;
};

class TopScreenWalkModelTest : public testing::Test {
protected:
    TopScreenWalkModelTest() { installPlatform((new SimulatedPlatform)->services()); }

    // Whether a screen was found.
    static bool compare(const World& world, std::uint64_t round)
    {
        const Found expected = SlowWalk(world).run();
        const Found found = Stage(world).walk();
        EXPECT_EQ(found.screen, expected.screen) << "round " << round;
        EXPECT_EQ(found.isAlive, expected.isAlive) << "round " << round;
        return found.screen.has_value();
    }
};

TEST_F(TopScreenWalkModelTest, AgreesOnTreesWhoseScreensAreDestroyedAtAnyStep)
{
    RandomWorld random(1);
    int found = 0;
    for (std::uint64_t round = 0; round < 20'000 && !HasFailure(); ++round)
        found += compare(random.make(true), round);
    // Walks with and without a result are both frequent.
    EXPECT_GT(found, 4'000);
    EXPECT_LT(found, 18'000);
}

TEST_F(TopScreenWalkModelTest, AgreesWhereScreensFormRings)
{
    RandomWorld random(2);
    int found = 0;
    for (std::uint64_t round = 0; round < 20'000 && !HasFailure(); ++round)
        found += compare(random.make(false), round);
    EXPECT_GT(found, 4'000);
    EXPECT_LT(found, 18'000);
}

} // namespace
} // namespace telvora
