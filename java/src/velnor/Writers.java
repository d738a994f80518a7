package velnor;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Map;
import java.util.Set;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * Who may change what a file contains, or put another one in its place: others than this user and root must not, where
 * the file is to be loaded.
 */
final class Writers {
    private static final int OTHERS_WRITE = 0022;
    private static final int STICKY = 01000;
    private static final int ROOT = 0;
    private static final Path UID_MAP = Path.of("/proc/self/uid_map");
    /** The effective one is the second. */
    private static final Pattern USER = Pattern.compile("(?m)^Uid:\\s+\\d+\\s+(\\d+)");

    private Writers() {
    }

    /**
     * Looks at a file and at every directory above it.
     *
     * @param file a path without links, as {@link Path#toRealPath} gives it
     * @param user the user who may
     * @return who else may write and where, as a sentence; null when nobody may
     */
    static String others(Path file, int user) throws IOException {
        for (Path place = file; place != null; place = place.getParent()) {
            Map<String, Object> attributes = Files.readAttributes(place, "unix:uid,mode,isDirectory");
            int owner = (Integer) attributes.get("uid");
            if (owner != ROOT && owner != user && owner != unmapped()) {
                return place + " belongs to another user (uid " + Integer.toUnsignedString(owner) + ")";
            }
            int mode = (Integer) attributes.get("mode");
            // In a sticky directory nobody moves what is not his.
            boolean sticky = (Boolean) attributes.get("isDirectory") && (mode & STICKY) != 0;
            if ((mode & OTHERS_WRITE) != 0 && !sticky) {
                Set<PosixFilePermission> permissions = Files.getPosixFilePermissions(place);
                return "others may write " + place + " (" + PosixFilePermissions.toString(permissions)
                        + "); chmod go-w ends that, or chmod"
                        + " +t for a directory that is shared";
            }
        }
        return null;
    }

    /** As whom this process works. */
    static int user() throws IOException {
        Matcher line = USER.matcher(text(Path.of("/proc/self/status")));
        if (!line.find()) {
            throw new IOException("/proc/self/status tells no user");
        }
        return Integer.parseUnsignedInt(line.group(1));
    }

    /**
     * Whose all files seem to be, inside of a user namespace, that belong to nobody there, those of the machine's root
     * among them; -1 outside of one.
     */
    private static int unmapped() throws IOException {
        boolean outside = Files.notExists(UID_MAP) || text(UID_MAP).matches("0\\s+0\\s+4294967295");
        return outside ? -1 : Integer.parseInt(text(Path.of("/proc/sys/kernel/overflowuid")));
    }

    private static String text(Path file) throws IOException {
        return new String(Files.readAllBytes(file), StandardCharsets.US_ASCII).strip();
    }
}
