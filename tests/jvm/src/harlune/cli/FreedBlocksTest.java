package harlune.cli;

import static harlune.support.FreedBlocks.secret;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.FreedBlocks;
import harlune.support.Tokens;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;

import org.junit.jupiter.api.Test;

/** What the command line leaves of PINs and plaintexts in memory that the process gives back: nothing. */
class FreedBlocksTest extends TokenCommands {
    private static final int MANY = 20_000;

    private Set<String> whoLeft(Velnor command, String name) throws Exception {
        FreedBlocks blocks = new FreedBlocks(Files.createDirectory(directory.resolve("watched " + name)));
        blocks.environment().forEach(command::set);
        command.run().assertStatus(0);
        Set<String> left = new HashSet<>();
        for (Map.Entry<String, Set<Character>> found : blocks.left().entrySet()) {
            // What SoftHSM and its cryptography leave is theirs.
            if (!found.getKey().matches("libsofthsm2\\.so|libcrypto\\.so.*|libbotan.*|libsqlite3.*")) {
                left.add(name + ": " + found);
            }
        }
        return left;
    }

    @Test
    void nothingIsLeft() throws Exception {
        Path old = file("old", Tokens.PIN.getBytes());
        Path pin = file("pin", secret('A'));
        Path plaintext = file("plaintext", secret('B', MANY));
        Set<String> left = new HashSet<>();
        left.addAll(whoLeft(anonymous("set-pin", "--pin-file", old, "--new-pin-file", pin), "set-pin"));
        try {
            left.addAll(whoLeft(anonymous("generate", "aes", "--label", "watched", "--pin-file", pin), "generate"));
            left.addAll(whoLeft(anonymous("encrypt", plaintext, "--label", "watched", "--pin-file", pin, "--mechanism",
                    "AES_CBC_PAD", "--iv", "00".repeat(16), "--out", path("encrypted")), "encrypt"));
            left.addAll(whoLeft(anonymous("decrypt", path("encrypted"), "--label", "watched", "--pin-file", pin,
                    "--mechanism", "AES_CBC_PAD", "--iv", "00".repeat(16), "--out", path("decrypted")), "decrypt"));
            left.addAll(whoLeft(anonymous("digest", plaintext, "--mechanism", "SHA256"), "digest"));
            assertArrayEquals(secret('B', MANY), Files.readAllBytes(path("decrypted")));
        } finally {
            anonymous("set-pin", "--pin-file", pin, "--new-pin-file", old).run().assertStatus(0);
        }
        assertEquals(Set.of(), left);
    }
}
