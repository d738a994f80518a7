package harlune;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Bridge;
import harlune.support.ScriptedModule;

import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.nat.NativeCryptoki;

/** The scripted module, steered from Java, is the one that the bridge talks to. */
class ScriptedModuleTest {
    private NativeCryptoki cryptoki;

    @BeforeEach
    void bind() {
        ScriptedModule.reset();
        cryptoki = Bridge.initialize(ScriptedModule.PATH);
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void release() {
        assertEquals(List.of(), ScriptedModule.unused());
        cryptoki.Finalize(null);
    }

    @Test
    void anAnswerReachesJavaAndTheCallTheJournal() {
        ScriptedModule.answer("C_GetInfo 0x80000123");
        assertRefused("J_GetInfo", 0x80000123, "VENDOR DEFINED", cryptoki::GetInfo);
        assertEquals(List.of("C_GetInfo info=non-null -> 0x80000123"), ScriptedModule.journal());
    }

    @Test
    void codesWithoutADescriptionSaySo() {
        ScriptedModule.answer("C_GetInfo 0x63");
        assertRefused("J_GetInfo", 0x63, "NO ERROR DESC FOUND", cryptoki::GetInfo);
    }
}
